// others_exporter.js URL: sends an entry as an exporter from npm does, to compare annal-export's requests with.
'use strict';
const {OTLPLogExporter} = require('@opentelemetry/exporter-logs-otlp-http');
const {Resource} = require('@opentelemetry/resources');
const {LoggerProvider, SimpleLogRecordProcessor} = require('@opentelemetry/sdk-logs');

const provider = new LoggerProvider({resource: new Resource({'service.name': 'annal', 'host.name': 'appliance1'})});
provider.addLogRecordProcessor(new SimpleLogRecordProcessor(new OTLPLogExporter({url: process.argv[2]})));
provider.getLogger('annal.event', '2.0.0').emit({
  timestamp: [1795255200, 0],
  severityNumber: 13,
  severityText: 'warning',
  body: 'Volume 1 is nearly full.',
  attributes: {'log.record.uid': '0123456789abcdef0123456789abcdef/event/1/1', 'annal.log': 'event'},
});
provider.shutdown();
