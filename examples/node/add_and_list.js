// Adds an event and lists the log: node add_and_list.js HEADER LIBRARY.
'use strict';

const annal = require('./annal.js').declare(process.argv[2], process.argv[3]);

function check(what, result) {
  if (result !== annal.ANNAL_OK) {
    throw new Error(`${what}: the library answered ${result}`);
  }
}

// koffi cuts a text that does not fit.
function fitting(text, size) {
  if (Buffer.byteLength(text) >= size || text.includes('\0')) {
    throw new Error(`it does not fit: ${text}`);
  }
  return text;
}

const created = annal.annal_event_create_tbl(0, 0);
if (created !== annal.ANNAL_TABLE_FAILED) {  // which means that the log exists
  check('create', created);
}
check('add', annal.annal_event_add_msgid_ex3({
  event_type: annal.ANNAL_WARNING,
  event_user: fitting("o'neil", 65),
  event_desc: fitting('Volume 1 is nearly full.', 2049),
}));

const levels = ['information', 'warning', 'error'];
const lines = [];
const collect = (context, columns, values) => {
  // A column without a value (NULL) comes as null.
  const row = annal.koffi.decode(values, annal.koffi.array('char *', columns)).map((text) => text ?? '');
  lines.push(`${row[0]} ${levels[Number(row[1])]} ${row[4]} ${row[7]}`);
  return 0;
};
check('list', annal.annal_event_query(collect, annal.ANNAL_EVENT_SORT_ID, 0, 100, 0, null));
for (const line of lines) {
  console.log(line);
}
