// The library for koffi: every type, function and code that its header declares, read from the header itself.
'use strict';

const fs = require('fs');
const koffi = require('koffi');

function declare(header, library) {
  const text = fs.readFileSync(header, 'utf8').replace(/\/\*[^]*?\*\//g, '').replace(/^#.*$/gm, '');
  const lib = koffi.load(library);
  const annal = { koffi };

  for (const [, body] of text.matchAll(/enum \w+ \{([^}]*)\}/g)) {
    for (const [, name, value] of body.matchAll(/(\w+) = (-?\d+)/g)) {
      annal[name] = Number(value);
    }
  }

  koffi.struct('tm', {
    tm_sec: 'int', tm_min: 'int', tm_hour: 'int', tm_mday: 'int', tm_mon: 'int', tm_year: 'int',
    tm_wday: 'int', tm_yday: 'int', tm_isdst: 'int', tm_gmtoff: 'long', tm_zone: 'const char *',
  });
  for (const [, name, body] of text.matchAll(/typedef struct (\w+) \{([^}]*)\} \1;/g)) {
    const fields = {};
    for (const declaration of body.replace(/ANNAL_ALIGN8|\bstruct /g, '').split(';')) {
      const field = declaration.trim().match(/^(.*?)(\w+)(\[\d+\])?$/);
      if (field) {
        fields[field[2]] = field[1].trim() + (field[3] || '');
      }
    }
    annal[name] = koffi.struct(name, fields);
  }

  koffi.proto('int annal_row_callback(void *context, int columns, void *values, void *names)');
  for (const [, prototype] of text.matchAll(/ANNAL_API ((?!extern)[^;]*?\)) ANNAL_NOEXCEPT;/g)) {
    const name = prototype.match(/(\w+)\(/)[1];
    // A record and a number that the library writes into are copied back.
    const koffis = prototype.replace(/\s+/g, ' ').replace('annal_row_callback callback', 'annal_row_callback *callback')
        .replace(/(?<!const )\b(\w+Record\w*\*)/, '_Inout_ $1').replace('int* inserted', '_Out_ int* inserted')
        .replace('(void)', '()');
    annal[name] = lib.func(koffis);
  }
  return annal;
}

module.exports = { declare };
