# shellcheck shell=bash
# Three NATS servers with JetStream on loopback, for the scripts that source this after support.sh.
# shellcheck disable=SC2154 # the folder is support.sh's

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
    permissions: { publish: ["annal.0123456789abcdef0123456789abcdef.>", "\$JS.API.INFO"], subscribe: "_INBOX.>" } },
  { user: neighbour, password: "neighbour-word",
    permissions: { publish: ["annal.fedcba9876543210fedcba9876543210.>", "\$JS.API.INFO"], subscribe: "_INBOX.>" } },
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
  wait_for 10 listens "${node_port[$1]}"
}

# kill_node NAME: without a warning.
kill_node() {
  kill -KILL "${node_process[$1]}"
  wait "${node_process[$1]}" 2>/dev/null || true
}

# The addresses of all nodes, as the configurations have them.
nats_servers() {
  local node list=
  for node in "${nodes[@]}"; do
    list+="\"nats://localhost:${node_port[$node]}\", "
  done
  printf '[%s]' "${list%, }"
}
