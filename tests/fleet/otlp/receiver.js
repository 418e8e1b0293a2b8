// receiver.js PORT FOLDER [CERTIFICATE KEY CLIENTS-AUTHORITY]: a receiver of OTLP over HTTP that checks each request with the published
// definitions. It writes each request's body to FOLDER/last.json and
// FOLDER/bodies, and the keys of the records it has taken to
// FOLDER/taken. FOLDER/orders may have lines of JSON, each of which an answer uses up:
//   {"status": 503, "headers": {"Retry-After": "2"}, "body": "…"}
'use strict';
const fs = require('fs');
const http = require('http');
const https = require('https');
const path = require('path');

const [port, folder, certificate, key, authority] = process.argv.slice(2);
const root = require(path.join(require.resolve('@opentelemetry/otlp-transformer'), '../generated/root.js'));
const Request = root.opentelemetry.proto.collector.logs.v1.ExportLogsServiceRequest;

// The first difference of two values, as a path; nothing if they are equal.
function difference(left, right, place) {
  if (typeof left !== typeof right || Array.isArray(left) !== Array.isArray(right) || left === null || right === null) {
    return `${place}: ${JSON.stringify(left)} is not ${JSON.stringify(right)}`;
  }
  if (typeof left !== 'object') {
    return left === right ? undefined : `${place}: ${JSON.stringify(left)} is not ${JSON.stringify(right)}`;
  }
  for (const name of new Set([...Object.keys(left), ...Object.keys(right)])) {
    const found = difference(left[name], right[name], `${place}.${name}`);
    if (found !== undefined) {
      return found;
    }
  }
  return undefined;
}

// What is wrong with a request: a field that the definitions do not have gets lost on the way through them, and one of
// another type comes out in its own.
function complaint(body) {
  const message = Request.fromObject(body);
  const wrong = Request.verify(message);
  if (wrong) {
    return wrong;
  }
  const again = Request.toObject(Request.decode(Request.encode(message).finish()),
                                 {longs: String, enums: Number, bytes: String});
  return difference(body, again, 'request');
}

function attribute(record, name) {
  const found = (record.attributes || []).find((one) => one.key === name);
  return found && found.value.stringValue;
}

function next_order() {
  const file = path.join(folder, 'orders');
  const lines = fs.existsSync(file) ? fs.readFileSync(file, 'utf8').split('\n').filter(Boolean) : [];
  const first = lines.shift();
  fs.writeFileSync(file, lines.map((line) => line + '\n').join(''));
  return first && JSON.parse(first);
}

function answer(response, status, body, headers = {}) {
  response.writeHead(status, {'Content-Type': 'application/json', ...headers});
  response.end(typeof body === 'string' ? body : JSON.stringify(body));
}

function handle(request, response, text) {
  fs.writeFileSync(path.join(folder, 'last.json'), text);
  fs.appendFileSync(path.join(folder, 'bodies'), text.replaceAll('\n', ' ') + '\n');
  fs.appendFileSync(path.join(folder, 'requests'), `${Date.now()} ${request.headers.authorization || ''}\n`);
  if (request.method !== 'POST' || request.url !== '/v1/logs') {
    return answer(response, 404, {message: 'no such place'});
  }
  if (request.headers['content-type'] !== 'application/json') {
    return answer(response, 415, {message: 'not JSON'});
  }
  const order = next_order();
  if (order) {
    return answer(response, order.status, order.body || '{}', order.headers);
  }
  const body = JSON.parse(text);
  const wrong = complaint(body);
  if (wrong !== undefined) {
    fs.appendFileSync(path.join(folder, 'complaints'), wrong + '\n');
    return answer(response, 400, {code: 3, message: wrong});
  }
  const records = body.resourceLogs.flatMap((one) => one.scopeLogs.flatMap((scope) => scope.logRecords));
  if (records.some((record) => record.body.stringValue.includes('poison'))) {
    return answer(response, 400, {code: 3, message: 'poison'});
  }
  const taken = records.filter((record) => !record.body.stringValue.includes('disliked'));
  fs.appendFileSync(path.join(folder, 'taken'), taken.map((one) => attribute(one, 'log.record.uid') + '\n').join(''));
  const rejected = records.length - taken.length;
  return answer(response, 200, rejected === 0 ? {partialSuccess: {}} :
                {partialSuccess: {rejectedLogRecords: String(rejected), errorMessage: 'disliked'}});
}

function receive(request, response) {
  const chunks = [];
  request.on('data', (chunk) => chunks.push(chunk));
  request.on('end', () => {
    try {
      handle(request, response, Buffer.concat(chunks).toString('utf8'));
    } catch (error) {
      fs.appendFileSync(path.join(folder, 'complaints'), error + '\n');
      answer(response, 400, {message: String(error)});
    }
  });
}

const server = certificate
  ? https.createServer({cert: fs.readFileSync(certificate), key: fs.readFileSync(key), ca: fs.readFileSync(authority),
                        requestCert: true, rejectUnauthorized: true}, receive)
  : http.createServer(receive);
server.listen(Number(port), '127.0.0.1');
