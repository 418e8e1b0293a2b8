/* Calls every function once from C and checks results that a mistake would change. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Corix_annal.h"

static int failures = 0;

static void expect(int condition, const char* what) {
  if (!condition) {
    ++failures;
    fprintf(stderr, "not so: %s\n", what);
  }
}
#define EXPECT(condition) expect(condition, #condition)

static int remember_last_message(void* context, int columns, char** values, char** names) {
  EXPECT(columns >= 17 && strcmp(names[7], "event_desc") == 0);
  snprintf((char*)context, 64, "%s", values[7]);
  return 0;
}

static int remember_user(void* context, int columns, char** values, char** names) {
  EXPECT(columns >= 15 && strcmp(names[4], "conn_user") == 0);
  snprintf((char*)context, 64, "%s", values[4]);
  return 0;
}

static void store_and_search_connections(void) {
  const char* from = "2000-01-01";
  const char* to = "2999-12-31";
  const char* earliest = "00:00:00";
  const char* latest = "23:59:59";
  char text[64] = "";
  int inserted = -1;
  ConnRecord record;
  ConnRecordV1 older;

  memset(&record, 0, sizeof record);
  memset(&older, 0, sizeof older);
  strcpy(record.conn_user, "ann");
  strcpy(older.conn_user, "bob");
  older.conn_action_result = 13;
  EXPECT(annal_conn_add2(&record) == ANNAL_OK && strcmp(record.conn_ip, "---") == 0);
  EXPECT(annal_conn_add(&older) == ANNAL_OK);
  EXPECT(annal_conn_add_entries2(&record, 1, &inserted) == ANNAL_OK && inserted == 1);
  EXPECT(annal_conn_add_entries(&older, 1, &inserted) == ANNAL_OK && inserted == 1);
  EXPECT(send_conn_log_to_orca(0, "ann", NULL, "pc", 1, 8, "/") == ANNAL_OK);

  EXPECT(annal_conn_query_count(0) == 4);
  EXPECT(annal_conn_query_count_ex(/* type_mode= */ 0, from, to, /* user= */ "bob", /* ip= */ NULL, /* comp= */ NULL,
                                   /* res= */ NULL, /* serv= */ 0, /* action= */ 0, earliest, latest,
                                   /* app= */ NULL) == 2);
  EXPECT(annal_conn_query_count_ex2(/* type_mode= */ 0, from, to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL,
                                    /* res= */ NULL, /* serv= */ 0, /* action= */ 0, earliest, latest, /* app= */ NULL,
                                    /* action_result= */ 13) == 2);
  EXPECT(annal_conn_query_count_ex3(/* type_mode= */ 0, /* date_from= */ NULL, /* date_to= */ NULL, /* user= */ NULL,
                                    /* ip= */ NULL, /* comp= */ NULL, /* res= */ NULL, /* serv= */ 0, /* action= */ 0,
                                    /* time_from= */ NULL, /* time_to= */ NULL, /* app= */ NULL, /* action_result= */ 0,
                                    /* client_id= */ NULL, /* client_app= */ "local",
                                    /* client_agent= */ NULL) == 4);
  EXPECT(annal_conn_query(NULL, remember_user, 13, 0, 1, 1, text) == ANNAL_OK && strcmp(text, "bob") == 0);
  EXPECT(annal_conn_query_ex(/* db_path= */ NULL, remember_user, /* sort= */ 12, /* start= */ 0, /* end= */ 1,
                             /* type_mode= */ 0, from, to, /* user= */ "ann", /* ip= */ NULL, /* comp= */ NULL,
                             /* res= */ NULL, /* serv= */ 0, /* action= */ 0, text, earliest, latest,
                             /* app= */ NULL) == ANNAL_OK &&
         strcmp(text, "ann") == 0);
  EXPECT(annal_conn_query_ex2(/* db_path= */ NULL, remember_user, /* sort= */ 12, /* start= */ 0, /* end= */ 0,
                              /* type_mode= */ 0, from, to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL,
                              /* res= */ NULL, /* serv= */ 0, /* action= */ 0, text, /* time_from= */ NULL,
                              /* time_to= */ NULL, /* app= */ NULL, /* action_result= */ 13) == ANNAL_OK &&
         strcmp(text, "bob") == 0);
  EXPECT(annal_conn_query_ex3(/* db_path= */ NULL, remember_user, /* sort= */ 12, /* start= */ 0, /* end= */ 0,
                              /* type_mode= */ 0, from, to, /* user= */ "ann", /* ip= */ NULL, /* comp= */ NULL,
                              /* res= */ NULL, /* serv= */ 0, /* action= */ 0, text, /* time_from= */ NULL,
                              /* time_to= */ NULL, /* app= */ NULL, /* action_result= */ 0, /* client_id= */ NULL,
                              /* client_app= */ NULL, /* client_agent= */ "-") == ANNAL_OK &&
         strcmp(text, "ann") == 0);
  EXPECT(annal_conn_query_group(NULL, remember_user, 7, 0, 0, 0, 4, text) == ANNAL_OK && strcmp(text, "ann") == 0);
  EXPECT(annal_conn_query_group_ex(/* db_path= */ NULL, remember_user, /* sort= */ 6, /* start= */ 0, /* end= */ 0,
                                   /* type_mode= */ 0, from, to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL,
                                   /* res= */ NULL, /* serv= */ 0, /* action= */ 0, /* group= */ 4, text,
                                   /* time_from= */ NULL, /* time_to= */ NULL, /* app= */ NULL) == ANNAL_OK &&
         strcmp(text, "bob") == 0);
  EXPECT(annal_conn_query_group_ex2(/* db_path= */ NULL, remember_user, /* sort= */ 7, /* start= */ 0, /* end= */ 0,
                                    /* type_mode= */ 0, from, to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL,
                                    /* res= */ NULL, /* serv= */ 0, /* action= */ 0, /* group= */ 4, text,
                                    /* time_from= */ NULL, /* time_to= */ NULL, /* app= */ NULL,
                                    /* action_result= */ 13) == ANNAL_OK &&
         strcmp(text, "bob") == 0);
  EXPECT(annal_conn_query_byclientTime_count_ex("0,1,2", "0", 1) == 4);
  EXPECT(annal_conn_query_byclientTime_ex(remember_user, "0", "0", 1, 0, 1, 12, text) == ANNAL_OK &&
         strcmp(text, "ann") == 0);
  EXPECT(annal_conn_query_byclientTime_group(remember_user, /* levels= */ "0", /* client_time= */ "0", /* days= */ 1,
                                             /* start= */ 0, /* end= */ 0, /* sort= */ 6,
                                             /* group_text= */ "group by conn_user", text) == ANNAL_OK);
}

static void search_events(void) {
  const char* from = "2000-01-01";
  const char* to = "2999-12-31";
  const char* earliest = "00:00:00";
  const char* latest = "23:59:59";
  char text[64] = "";

  EXPECT(annal_event_query_ex(remember_last_message, /* sort= */ 12, /* start= */ 0, /* end= */ 0, /* type= */ 3, from,
                              to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL, /* desc= */ "thi", text, earliest,
                              latest) == ANNAL_OK &&
         strcmp(text, "third") == 0);
  EXPECT(annal_event_query_ex2(remember_last_message, /* sort= */ 12, /* start= */ 0, /* end= */ 0, /* type= */ 0, from,
                               to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL, /* desc= */ "sec", text,
                               /* time_from= */ NULL, /* time_to= */ NULL,
                               /* app_id= */ NULL, /* app_name= */ NULL, /* category_id= */ NULL,
                               /* category= */ "-") == ANNAL_OK &&
         strcmp(text, "second") == 0);
  EXPECT(annal_event_query_ex3(remember_last_message, /* sort= */ 12, /* start= */ 0, /* end= */ 0, /* type= */ 0, from,
                               to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL, /* desc= */ "fir", text,
                               /* time_from= */ NULL, /* time_to= */ NULL,
                               /* app_id= */ NULL, /* app_name= */ NULL, /* category_id= */ NULL, /* category= */ NULL,
                               /* client_id= */ NULL, /* client_app= */ "local",
                               /* client_agent= */ NULL) == ANNAL_OK &&
         strcmp(text, "first") == 0);
  EXPECT(annal_event_query_count_ex(/* type= */ 3, from, to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL,
                                    /* desc= */ "thi", earliest, latest) == 1);
  EXPECT(annal_event_query_count_ex2(/* type= */ 0, from, to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL,
                                     /* desc= */ "sec", /* time_from= */ NULL, /* time_to= */ NULL, /* app_id= */ NULL,
                                     /* app_name= */ NULL, /* category_id= */ NULL, /* category= */ "-") == 1);
  EXPECT(annal_event_query_count_ex3(/* type= */ 0, from, to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL,
                                     /* desc= */ "fir", /* time_from= */ NULL, /* time_to= */ NULL, /* app_id= */ NULL,
                                     /* app_name= */ NULL, /* category_id= */ NULL, /* category= */ NULL,
                                     /* client_id= */ NULL,
                                     /* client_app= */ "local", /* client_agent= */ NULL) == 1);
  EXPECT(annal_event_query_group_ex(remember_last_message, /* sort= */ 12, /* start= */ 0, /* end= */ 0, /* type= */ 0,
                                    from, to, /* user= */ NULL, /* ip= */ NULL, /* comp= */ NULL, /* desc= */ "thi",
                                    /* group= */ 7, text,
                                    /* time_from= */ NULL, /* time_to= */ NULL) == ANNAL_OK &&
         strcmp(text, "third") == 0);
  EXPECT(annal_event_query_byclientTime_count_ex("2", "0", 1) == 1);
  EXPECT(annal_event_query_byclientTime_ex(remember_last_message, "2", "0", 1, 0, 1, 12, text) == ANNAL_OK);
  EXPECT(annal_event_query_byclientTime_group(remember_last_message, /* types= */ "2", /* client_time= */ "0",
                                              /* days= */ 1, /* start= */ 0, /* end= */ 0, /* sort= */ 12,
                                              /* group= */ 7, text) == ANNAL_OK);
  EXPECT(strcmp(text, "third") == 0);
}

static int count_rows(void* context, int columns, char** values, char** names) {
  EXPECT(columns >= 22 && strcmp(names[11], "desc") == 0 && strcmp(values[11], "Fan 2 failed.") == 0);
  ++*(int*)context;
  return 0;
}

static void store_and_search_notices(void) {
  int rows = 0;
  NoticeRecord notice;

  memset(&notice, 0, sizeof notice);
  strcpy(notice.desc, "Fan 2 failed.");
  EXPECT(annal_notice_add(&notice) == ANNAL_OK && strcmp(notice.user, "System") == 0);
  EXPECT(annal_notice_query_count(0, NULL, NULL, NULL, NULL, NULL) == 1);
  EXPECT(annal_notice_query_byclientTime_count("0", 1, "2147483647", NULL) == 0);
  EXPECT(annal_notice_query(count_rows, 0, 0, 0, 0, &rows) == ANNAL_OK && rows == 1);
  EXPECT(annal_notice_query_byclientTime(count_rows, /* from= */ "0", /* days= */ 30000, /* to= */ "2147483647",
                                         /* start= */ 0, /* end= */ 0, /* sort= */ 0, /* condition= */ "severity = 0",
                                         &rows) == ANNAL_OK &&
         rows == 2);
  EXPECT(annal_notice_query_group_byclientTime(count_rows, /* from= */ "0", /* days= */ 30000, /* to= */ "2147483647",
                                               /* start= */ 0, /* end= */ 0, /* sort= */ 0, /* group= */ 99,
                                               /* condition= */ NULL, &rows) == ANNAL_OK &&
         rows == 3);
}

static int remember_path(void* context, int columns, char** values, char** names) {
  EXPECT(columns == 16 && strcmp(names[7], "event_filepath") == 0);
  snprintf((char*)context, 64, "%s", values[7]);
  return 0;
}

static void store_and_search_operations(void) {
  const char* operations = "/etc/logs/operations.db";
  char text[64] = "";
  int type = 0;
  FileOpRecord operation;
  FileOpFilter filter;

  memset(&operation, 0, sizeof operation);
  memset(&filter, 0, sizeof filter);
  operation.event_action = 35;
  operation.event_filepath = "/share/it's";
  operation.event_filesize = 5;
  filter.event_filepath = "SHARE";
  filter.event_filesize = -1;
  EXPECT(pavo2log_event_create_tbl(operations, 0, 0) == ANNAL_OK);
  EXPECT(pavo2log_event_add(operations, &operation) == 1 && strcmp(operation.event_user, "System") == 0);
  EXPECT(pavo2log_event_query_count(operations, 0, NULL, NULL, NULL, NULL) == 1);
  EXPECT(pavo2log_event_query_count_by(operations, &filter, NULL, NULL, NULL, NULL) == 1);
  EXPECT(pavo2log_event_query(operations, remember_path, 0, 0, 0, 0, text) == ANNAL_OK);
  EXPECT(strcmp(text, "/share/it's") == 0);
  text[0] = '\0';
  EXPECT(pavo2log_event_query_by(operations, remember_path, &filter, 1, 0, 0, text) == ANNAL_OK);
  EXPECT(strcmp(text, "/share/it's") == 0);
  EXPECT(pavo2log_event_del(operations, 1, &type) == ANNAL_OK);
  EXPECT(pavo2log_event_flush_tbl(operations) == ANNAL_OK);
  EXPECT(pavo2log_event_remove_trigger_logfull(operations) == ANNAL_OK);
  EXPECT(pavo2log_event_add_trigger_logfull(operations, 5, 1) == ANNAL_OK);
  EXPECT(pavo2log_event_remove_tbl(operations) == ANNAL_OK);
}

int main(void) {
  char text[64] = "";
  char ip[65] = "::ffff:10.0.0.5";
  int type = 2;
  char* null_text = NULL;
  EventRecord record;
  EventRecordBasic basic;
  EventRecordMsgId with_id;
  EventRecordEx extended;

  const CatalogEntry entry = {"A011", 4, "C001", "1", "[External Device] Added printer {0}."};

  EXPECT(is_event_name_matching == 0 && is_conn_name_matching == 0);
  EXPECT(annal_event_create_tbl(100, 1) == ANNAL_OK);
  memset(&record, 0xff, sizeof record);
  EXPECT(InitAnnalEvent(&record) == record.event_desc);
  memset(&record, 0, sizeof record);
  memset(&basic, 0, sizeof basic);
  memset(&with_id, 0, sizeof with_id);
  memset(&extended, 0, sizeof extended);
  strcpy(record.event_desc, "third");
  record.event_type = 2;
  strcpy(basic.event_desc, "first");
  strcpy(with_id.event_desc, "second");
  EXPECT(annal_event_add(&basic) == ANNAL_OK);
  EXPECT(annal_event_add_msgid(&with_id) == ANNAL_OK);
  EXPECT(annal_event_add_msgid_ex2(&extended) == ANNAL_OK);
  EXPECT(annal_event_add_msgid_ex3(&record) == ANNAL_OK);
  EXPECT(annal_event_query_count(0) == 4);
  EXPECT(annal_event_query(remember_last_message, 12, 0, 0, 0, text) == ANNAL_OK && strcmp(text, "third") == 0);
  EXPECT(annal_event_query_group(remember_last_message, 12, 0, 1, 0, 1, text) == ANNAL_OK);
  search_events();
  EXPECT(annal_event_table_check_column("event_id") == 1);
  EXPECT(annal_event_table_add_column("extra", 1, "3") == ANNAL_OK);
  EXPECT(annal_event_modify_tbl() == ANNAL_CHANGE_FAILED);
  EXPECT(annal_event_table_update_event_timet(NULL, "%s") == ANNAL_OK);
  EXPECT(annal_event_del(1, &type) == ANNAL_OK && annal_event_query_count(0) == 3);
  EXPECT(annal_event_del_logfull_over_size(2) == ANNAL_OK && annal_event_query_count(0) == 2);
  EXPECT(annal_event_remove_trigger_logfull() == ANNAL_OK);
  EXPECT(annal_event_add_trigger_logfull(5, 1) == ANNAL_OK);
  EXPECT(annal_event_flush_tbl() == ANNAL_OK && annal_event_query_count(0) == 0);
  EXPECT(annal_event_remove_tbl() == ANNAL_OK);

  EXPECT(annal_report_event(1, "by itself") == ANNAL_OK);
  SendEventToLumod(&record);
  EXPECT(send_event_log_to_orca(&record, 1600000000UL) == ANNAL_OK);

  EXPECT(annal_conn_create_tbl(0, 0) == ANNAL_OK);
  store_and_search_connections();
  EXPECT(annal_conn_flush_tbl() == ANNAL_OK);
  EXPECT(annal_conn_table_check_column("conn_id") == ANNAL_QUERY_FAILED);
  EXPECT(annal_conn_table_add_column("extra", 0, "") == ANNAL_OK);
  EXPECT(annal_conn_modify_tbl() == ANNAL_CHANGE_FAILED);
  EXPECT(annal_conn_del(1, &type) == ANNAL_OK);
  EXPECT(annal_conn_del_full(1) == ANNAL_OK);
  EXPECT(annal_conn_flush_tbl() == ANNAL_OK);
  EXPECT(annal_conn_remove_trigger_logfull() == ANNAL_OK);
  EXPECT(annal_conn_add_trigger_logfull(5, 1) == ANNAL_OK);
  EXPECT(annal_conn_remove_tbl() == ANNAL_OK);
  EXPECT(annal_conn_enable_name_matching(1) == 0 && is_conn_name_matching == 1);

  store_and_search_operations();

  EXPECT(annal_notice_create_tbl(0, 0) == ANNAL_OK);
  EXPECT(annal_notice_table_check_column("id") == ANNAL_QUERY_FAILED);
  EXPECT(isAllColumnExist() == 21);
  EXPECT(AnnalNoticeModifyTbl() == ANNAL_CHANGE_FAILED);
  EXPECT(annal_notice_table_add_column("extra", 0, "") == ANNAL_OK);
  store_and_search_notices();
  EXPECT(annal_notice_del(1, &type) == ANNAL_OK);
  EXPECT(AnnalNoticeDellogByClientTime(1) == ANNAL_OK);
  EXPECT(annal_notice_flush_tbl() == ANNAL_OK);
  EXPECT(annal_notice_remove_trigger_logfull() == ANNAL_OK);
  EXPECT(annal_notice_add_trigger_logfull(5, 1) == ANNAL_OK);
  EXPECT(annal_notice_remove_tbl() == ANNAL_OK);
  EXPECT(annal_notice_send(/* app_id= */ "A011", /* level= */ 1, /* type= */ 2, /* category_id= */ "C001",
                           /* msg_no= */ "1", /* ip= */ NULL, /* user= */ NULL, /* comp= */ NULL, /* message= */ "text",
                           /* param= */ NULL) == 0);
  /* An emulator makes a fork of vfork, which cannot report that there is no program. */
  EXPECT(annal_notice_send(/* app_id= */ "A011", /* level= */ 1, /* type= */ 0, /* category_id= */ "C001",
                           /* msg_no= */ "1", /* ip= */ NULL, /* user= */ NULL, /* comp= */ NULL, /* message= */ "text",
                           /* param= */ "one", "two", (char*)NULL) == -1 ||
         getenv("ANNAL_EMULATED") != NULL);
  EXPECT(notify_send(/* ip= */ NULL, /* user= */ NULL, /* comp= */ NULL, /* client_id= */ NULL, /* client_app= */ NULL,
                     /* client_agent= */ NULL, &entry, /* type= */ 1, /* level= */ 4, "one", "two",
                     (char*)NULL) == ANNAL_OK);
  EXPECT(ChangeLogTypeToNoticeSeverity(2) == 3);
  EXPECT(notice_facility_list[21].number == -1);
  EXPECT(Get_Facility_String_By_Facility(99, text, (int)sizeof text) == 0 && strcmp(text, "Background Task") == 0);

  EXPECT(strcmp(A011_list[0].app_id, "") == 0 && strcmp(A011_list[1].app_id, "A011") == 0);
  EXPECT(A011_list[sizeof A011_list / sizeof A011_list[0] - 1].app_id == NULL);

  EXPECT(annal_common_pack_db() == ANNAL_TABLE_FAILED);
  EXPECT(annal_common_migrate_db("/etc/logs/event.log", "NONE", NULL, 0) == ANNAL_OK);
  EXPECT(pavo2log_checkip(ip) == ANNAL_OK && strcmp(ip, "10.0.0.5") == 0);
  EXPECT(annal_checkip(ip) == ANNAL_OK && strcmp(ip, "10.0.0.5") == 0);
  EXPECT(annal_gethostname(ip) == ANNAL_OK && strcmp(ip, "localhost") == 0);
  EXPECT(annal_getlocalip(ip) == ANNAL_OK && strcmp(ip, "127.0.0.1") == 0);
  EXPECT(*annal_event_enable_name_matching(0) == is_event_name_matching);
  auto_free_str(&null_text);
  return failures;
}
