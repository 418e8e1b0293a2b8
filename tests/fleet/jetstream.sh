# shellcheck shell=bash
# Three NATS servers with JetStream on loopback, for the scripts that source this after support.sh.
# shellcheck disable=SC2154 # the folder and the patience are support.sh's

nodes=(one two three)
declare -A node_port cluster_port node_process

# nats_prepare [tls]: chooses ports, and writes the nodes' configurations.
nats_prepare() {
  local node other routes
  for node in "${nodes[@]}"; do
    node_port[$node]=$(free_port)
    cluster_port[$node]=$(free_port)
  done
  for node in "${nodes[@]}"; do
    routes=
    for other in "${nodes[@]}"; do
      routes+="\"nats://127.0.0.1:${cluster_port[$other]}\", "
    done
    cat >"$folder/$node.conf" <<NATS
server_name: $node
listen: "127.0.0.1:${node_port[$node]}"
jetstream { store_dir: "$folder/$node", max_file_store: 4GB, max_memory_store: 64MB }
cluster { name: fleet, listen: "127.0.0.1:${cluster_port[$node]}", routes: [ $routes ] }
authorization { users: [ { user: appliance, password: "appliance-word",
    permissions: { publish: ["annal.0123456789abcdef0123456789abcdef.>", "\$JS.API.INFO"],
      subscribe: "_INBOX.0123456789abcdef0123456789abcdef.>" } },
  { user: neighbour, password: "neighbour-word",
    permissions: { publish: ["annal.fedcba9876543210fedcba9876543210.>", "\$JS.API.INFO"],
      subscribe: "_INBOX.fedcba9876543210fedcba9876543210.>" } },
  { user: collector, password: "collector-word" } ] }
NATS
    if [[ ${1:-} == tls ]]; then
      printf 'tls { cert_file: "%s", key_file: "%s" }\n' "$folder/tls/server.pem" "$folder/tls/server.key" \
        >>"$folder/$node.conf"
    fi
  done
  printf 'appliance-word\n' >"$folder/appliance.word"
  printf 'neighbour-word\n' >"$folder/neighbour.word"
  printf 'collector-word\n' >"$folder/collector.word"
}

# start_node NAME
start_node() {
  begin nats-server -c "$folder/$1.conf" >>"$folder/$1.log" 2>&1
  node_process[$1]=$!
  wait_for listens "${node_port[$1]}"
}

# kill_node NAME: without a warning.
kill_node() {
  kill -KILL "${node_process[$1]}"
  wait "${node_process[$1]}" 2>/dev/null || true
}

# nats_say NODE USER SUBJECT OPTION...: a request, by TLS.
nats_say() {
  local node=$1
  shift
  python3 "${BASH_SOURCE[0]%/*}/nats_say.py" "${node_port[$node]}" "$folder/tls/authority.pem" "$@"
}

# stream_leader NODE...: the name of the node that leads the stream, once one of these knows.
stream_leader() {
  local node end=$((SECONDS + patience))
  while ((SECONDS < end)); do
    for node in "$@"; do
      # shellcheck disable=SC2016 # a subject
      nats_say "$node" collector '$JS.API.STREAM.INFO.ANNAL' --field cluster.leader 2>/dev/null && return
    done
    sleep 0.2
  done
  echo "no node leads the stream" >&2
  return 1
}

# The addresses of all nodes, as the configurations have them.
nats_servers() {
  local node list=
  for node in "${nodes[@]}"; do
    list+="\"nats://localhost:${node_port[$node]}\", "
  done
  printf '[%s]' "${list%, }"
}
