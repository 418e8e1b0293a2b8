/*
 * The public header, alone, in every language that callers compile it in: nothing is included before it, and every
 * record has the size and the offsets that programs built years ago were compiled with.
 */
#include "Corix_annal.h"

#include <stddef.h>

#define HOLDS(name, condition) typedef char holds_##name[(condition) ? 1 : -1]
#define AT(record, field, offset) HOLDS(record##_##field, offsetof(record, field) == (offset))

#define COMMON_FIELDS(record)     \
  AT(record, event_id, 0);        \
  AT(record, event_type, 4);      \
  AT(record, event_date_time, 8); \
  AT(record, event_user, 64);     \
  AT(record, event_ip, 129);      \
  AT(record, event_comp, 194);    \
  AT(record, event_desc, 259);    \
  AT(record, event_msgid, 2308)

#define EXTENDED_FIELDS(record)        \
  AT(record, event_timet, 2376);       \
  AT(record, event_app_id, 2384);      \
  AT(record, event_app_name, 2449);    \
  AT(record, event_category_id, 2578); \
  AT(record, event_category, 2643)

HOLDS(EventRecord_size, sizeof(EventRecord) == 3224);
COMMON_FIELDS(EventRecord);
EXTENDED_FIELDS(EventRecord);
AT(EventRecord, event_client_id, 2772);
AT(EventRecord, event_client_app, 2837);
AT(EventRecord, event_client_agent, 2966);

HOLDS(EventRecordBasic_size, sizeof(EventRecordBasic) == 2376);
COMMON_FIELDS(EventRecordBasic);

HOLDS(EventRecordMsgId_size, sizeof(EventRecordMsgId) == 2384);
COMMON_FIELDS(EventRecordMsgId);
AT(EventRecordMsgId, event_timet, 2376);

HOLDS(EventRecordEx_size, sizeof(EventRecordEx) == 2776);
COMMON_FIELDS(EventRecordEx);
EXTENDED_FIELDS(EventRecordEx);

#define CONN_FIELDS(record)      \
  AT(record, conn_id, 0);        \
  AT(record, conn_type, 4);      \
  AT(record, conn_date, 8);      \
  AT(record, conn_time, 36);     \
  AT(record, conn_user, 64);     \
  AT(record, conn_ip, 129);      \
  AT(record, conn_comp, 194);    \
  AT(record, conn_res, 259);     \
  AT(record, conn_serv, 1284);   \
  AT(record, conn_action, 1288); \
  AT(record, conn_app, 1292);    \
  AT(record, conn_action_result, 1552)

HOLDS(ConnRecord_size, sizeof(ConnRecord) == 2008);
CONN_FIELDS(ConnRecord);
AT(ConnRecord, conn_client_id, 1556);
AT(ConnRecord, conn_client_app, 1621);
AT(ConnRecord, conn_client_agent, 1750);

HOLDS(ConnRecordV1_size, sizeof(ConnRecordV1) == 1556);
CONN_FIELDS(ConnRecordV1);

HOLDS(NoticeRecord_size, sizeof(NoticeRecord) == 7112);
AT(NoticeRecord, id, 0);
AT(NoticeRecord, severity, 4);
AT(NoticeRecord, server, 8);
AT(NoticeRecord, action, 12);
AT(NoticeRecord, serviceName, 16);
AT(NoticeRecord, facility, 1044);
AT(NoticeRecord, time, 1048);
AT(NoticeRecord, endtime, 1056);
AT(NoticeRecord, user, 1064);
AT(NoticeRecord, ip, 1129);
AT(NoticeRecord, client, 1194);
AT(NoticeRecord, desc, 1259);
AT(NoticeRecord, msgCode, 3308);
AT(NoticeRecord, varNum, 3376);
AT(NoticeRecord, varContent, 3380);
AT(NoticeRecord, name, 5429);
AT(NoticeRecord, status, 5560);
AT(NoticeRecord, uid, 5564);
AT(NoticeRecord, gid, 5568);
AT(NoticeRecord, link_id, 5572);
AT(NoticeRecord, link_option, 5829);
AT(NoticeRecord, title, 6854);

HOLDS(CatalogEntry_size, sizeof(CatalogEntry) == 5 * sizeof(void*));
AT(CatalogEntry, app_id, 0);
AT(CatalogEntry, level, sizeof(void*));
AT(CatalogEntry, category_id, 2 * sizeof(void*));
AT(CatalogEntry, msg_no, 3 * sizeof(void*));
AT(CatalogEntry, msg_template, 4 * sizeof(void*));

HOLDS(FileOpRecord_size, sizeof(FileOpRecord) == 1384);
AT(FileOpRecord, event_id, 0);
AT(FileOpRecord, event_type, 4);
AT(FileOpRecord, event_tm, 8);
AT(FileOpRecord, event_user, 64);
AT(FileOpRecord, event_ip, 129);
AT(FileOpRecord, event_oldfilepath, 200);
AT(FileOpRecord, event_filepath, 208);
AT(FileOpRecord, event_isFolder, 216);
AT(FileOpRecord, event_action, 220);
AT(FileOpRecord, event_filesize, 224);
AT(FileOpRecord, event_comp, 228);
AT(FileOpRecord, event_duid, 293);
AT(FileOpRecord, event_desc, 358);

HOLDS(FileOpFilter_size, sizeof(FileOpFilter) == 1344);
AT(FileOpFilter, event_id, 0);
AT(FileOpFilter, event_type, 4);
AT(FileOpFilter, date_from, 8);
AT(FileOpFilter, date_to, 19);
AT(FileOpFilter, event_user, 30);
AT(FileOpFilter, event_ip, 95);
AT(FileOpFilter, event_oldfilepath, 160);
AT(FileOpFilter, event_filepath, 168);
AT(FileOpFilter, event_isFolder, 176);
AT(FileOpFilter, event_action, 180);
AT(FileOpFilter, event_filesize, 184);
AT(FileOpFilter, event_comp, 188);
AT(FileOpFilter, event_duid, 253);
AT(FileOpFilter, event_desc, 318);

HOLDS(AnnalColumn_size, sizeof(AnnalColumn) == 2 * sizeof(void*));
AT(AnnalColumn, name, 0);
AT(AnnalColumn, add_sql, sizeof(void*));
