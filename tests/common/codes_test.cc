// Compares the header's names for codes with the statements that the library runs for them.
#include <string>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tests/support/sqlite_trace.h"

namespace annal::test {
namespace {

class Codes : public ApplianceTest {
 protected:
  // Whether the calls since the last check ran a statement with this text.
  static void expect_said(const std::string& what) {
    std::string said;
    for (const auto& call : SqliteTrace::calls()) {
      said += testing::PrintToString(call);
    }
    EXPECT_NE(said.find(what), std::string::npos) << what << " in " << said;
    SqliteTrace::reset();
  }
};

TEST_F(Codes, OfEventSortsNameTheirColumn) {
  const struct {
    annal_event_sort sort;
    const char* column;
  } kSorts[] = {
      {ANNAL_EVENT_SORT_DATE, "event_date"},
      {ANNAL_EVENT_SORT_TIME, "event_time"},
      {ANNAL_EVENT_SORT_TYPE, "event_type"},
      {ANNAL_EVENT_SORT_USER, "event_user"},
      {ANNAL_EVENT_SORT_IP, "event_ip"},
      {ANNAL_EVENT_SORT_COMP, "event_comp"},
      {ANNAL_EVENT_SORT_ID, "event_id"},
      {ANNAL_EVENT_SORT_MSGID, "event_msgid"},
      {ANNAL_EVENT_SORT_TIMET, "event_timet"},
      {ANNAL_EVENT_SORT_APP_ID, "event_app_id"},
      {ANNAL_EVENT_SORT_APP_NAME, "event_app_name"},
      {ANNAL_EVENT_SORT_CATEGORY_ID, "event_category_id"},
      {ANNAL_EVENT_SORT_CATEGORY, "event_category"},
  };
  for (const auto& [sort, column] : kSorts) {
    (void)annal_event_query_ex3(
        /* callback= */ nullptr, sort + ANNAL_DESCENDING, /* start= */ 0, /* end= */ 0, ANNAL_ONLY_ERRORS,
        /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ nullptr,
        /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr, /* context= */ nullptr, /* time_from= */ nullptr,
        /* time_to= */ nullptr, /* app_id= */ nullptr, /* app_name= */ nullptr, /* category_id= */ nullptr,
        /* category= */ nullptr, /* client_id= */ nullptr, /* client_app= */ nullptr, /* client_agent= */ nullptr);
    expect_said(std::string("ORDER BY ") + column + " DESC");
  }
}

TEST_F(Codes, OfEventGroupsNameTheirColumn) {
  const struct {
    annal_event_group group;
    const char* clause;
  } kGroups[] = {
      {ANNAL_EVENT_GROUP_ID, "GROUP BY event_id "},
      {ANNAL_EVENT_GROUP_TYPE, "GROUP BY event_type "},
      {ANNAL_EVENT_GROUP_DATE, "GROUP BY event_type,event_date "},
      {ANNAL_EVENT_GROUP_TIME, "GROUP BY event_type,event_time "},
      {ANNAL_EVENT_GROUP_USER, "GROUP BY event_type,event_user "},
      {ANNAL_EVENT_GROUP_IP, "GROUP BY event_type,event_ip "},
      {ANNAL_EVENT_GROUP_COMP, "GROUP BY event_type,event_comp "},
      {ANNAL_EVENT_GROUP_DESC, "GROUP BY event_type,event_desc "},
  };
  for (const auto& [group, clause] : kGroups) {
    (void)annal_event_query_group(nullptr, ANNAL_EVENT_SORT_DATE, 0, 0, ANNAL_ANY_LEVEL, group, nullptr);
    expect_said(clause);
  }
}

TEST_F(Codes, OfEventSelectorsNameTheirColumn) {
  const int number = 7;
  const struct {
    annal_event_selector selector;
    const char* condition;
    const void* value;
  } kSelectors[] = {
      {ANNAL_EVENT_DEL_ID, "event_id = 7", &number},     {ANNAL_EVENT_DEL_TYPE, "event_type = 7", &number},
      {ANNAL_EVENT_DEL_DATE, "event_date = 'x'", "x"},   {ANNAL_EVENT_DEL_TIME, "event_time = 'x'", "x"},
      {ANNAL_EVENT_DEL_USER, "event_user = 'x'", "x"},   {ANNAL_EVENT_DEL_IP, "event_ip = 'x'", "x"},
      {ANNAL_EVENT_DEL_COMP, "event_comp = 'x'", "x"},   {ANNAL_EVENT_DEL_DESC, "event_desc = 'x'", "x"},
      {ANNAL_EVENT_DEL_MSGID, "event_msgid = 'x'", "x"}, {ANNAL_EVENT_DEL_TIMET, "event_timet = 7", &number},
  };
  for (const auto& [selector, condition, value] : kSelectors) {
    (void)annal_event_del(selector, value);
    expect_said(condition);
  }
}

constexpr int kNumber = 7;  // its bytes also serve as a text

TEST_F(Codes, OfConnectionsNameTheirColumn) {
  const struct {
    int sort;
    const char* clause;
  } kSorts[] = {
      {ANNAL_CONN_SORT_DATE, "ORDER BY conn_date, conn_time"},
      {ANNAL_CONN_SORT_TIME, "ORDER BY conn_time, conn_date"},
      {ANNAL_CONN_SORT_TYPE, "ORDER BY conn_type "},
      {ANNAL_CONN_SORT_USER, "ORDER BY conn_user "},
      {ANNAL_CONN_SORT_IP, "ORDER BY conn_ip "},
      {ANNAL_CONN_SORT_COMP, "ORDER BY conn_comp "},
      {ANNAL_CONN_SORT_ID, "ORDER BY conn_id "},
      {ANNAL_CONN_SORT_SERV, "ORDER BY conn_serv "},
      {ANNAL_CONN_SORT_ACTION, "ORDER BY conn_action "},
      {ANNAL_CONN_SORT_APP, "ORDER BY conn_app "},
      {ANNAL_CONN_SORT_ACTION_RESULT, "ORDER BY conn_action_result "},
  };
  for (const auto& [sort, clause] : kSorts) {
    (void)annal_conn_query("/etc/logs/conn.log", nullptr, sort, 0, 0, ANNAL_ANY_LEVEL, nullptr);
    expect_said(clause);
  }
  const struct {
    annal_conn_selector selector;
    annal_conn_group group;
    const char* column;
  } kColumns[] = {
      {ANNAL_CONN_DEL_ID, ANNAL_CONN_GROUP_ID, "conn_id"},
      {ANNAL_CONN_DEL_TYPE, ANNAL_CONN_GROUP_TYPE, "conn_type"},
      {ANNAL_CONN_DEL_DATE, ANNAL_CONN_GROUP_DATE, "conn_date"},
      {ANNAL_CONN_DEL_TIME, ANNAL_CONN_GROUP_TIME, "conn_time"},
      {ANNAL_CONN_DEL_USER, ANNAL_CONN_GROUP_USER, "conn_user"},
      {ANNAL_CONN_DEL_IP, ANNAL_CONN_GROUP_IP, "conn_ip"},
      {ANNAL_CONN_DEL_COMP, ANNAL_CONN_GROUP_COMP, "conn_comp"},
      {ANNAL_CONN_DEL_RES, ANNAL_CONN_GROUP_RES, "conn_res"},
      {ANNAL_CONN_DEL_SERV, ANNAL_CONN_GROUP_SERV, "conn_serv"},
      {ANNAL_CONN_DEL_ACTION, ANNAL_CONN_GROUP_ACTION, "conn_action"},
      {ANNAL_CONN_DEL_APP, ANNAL_CONN_GROUP_APP, "conn_app"},
      {ANNAL_CONN_DEL_ACTION_RESULT, ANNAL_CONN_GROUP_ACTION_RESULT, "conn_action_result"},
  };
  for (const auto& [selector, group, column] : kColumns) {
    (void)annal_conn_del(selector, &kNumber);
    expect_said(std::string("WHERE ") + column + " = ");
    (void)annal_conn_query_group("/etc/logs/conn.log", nullptr, ANNAL_CONN_SORT_DATE, 0, 0, ANNAL_ANY_LEVEL, group,
                                 nullptr);
    expect_said(std::string("GROUP BY ") + column + " ");
  }
}

TEST_F(Codes, OfFileOperationsNameTheirColumn) {
  constexpr char kPath[] = "/etc/logs/operations.db";
  const struct {
    annal_fileop_sort sort;
    const char* column;
  } kSorts[] = {
      {ANNAL_FILEOP_SORT_DATE, "event_date"},     {ANNAL_FILEOP_SORT_TIME, "event_time"},
      {ANNAL_FILEOP_SORT_TYPE, "event_type"},     {ANNAL_FILEOP_SORT_USER, "event_user"},
      {ANNAL_FILEOP_SORT_IP, "event_ip"},         {ANNAL_FILEOP_SORT_COMP, "event_comp"},
      {ANNAL_FILEOP_SORT_ID, "event_id"},         {ANNAL_FILEOP_SORT_ISFOLDER, "event_isFolder"},
      {ANNAL_FILEOP_SORT_ACTION, "event_action"}, {ANNAL_FILEOP_SORT_FILESIZE, "event_filesize"},
  };
  for (const auto& [sort, column] : kSorts) {
    (void)pavo2log_event_query(kPath, nullptr, sort + ANNAL_DESCENDING, 0, 0, ANNAL_ANY_LEVEL, nullptr);
    expect_said(std::string("ORDER BY ") + column + " DESC");
  }
  const struct {
    annal_fileop_selector selector;
    const char* column;
  } kSelectors[] = {
      {ANNAL_FILEOP_DEL_ID, "event_id"},
      {ANNAL_FILEOP_DEL_TYPE, "event_type"},
      {ANNAL_FILEOP_DEL_DATE, "event_date"},
      {ANNAL_FILEOP_DEL_TIME, "event_time"},
      {ANNAL_FILEOP_DEL_USER, "event_user"},
      {ANNAL_FILEOP_DEL_IP, "event_ip"},
      {ANNAL_FILEOP_DEL_ISFOLDER, "event_isFolder"},
      {ANNAL_FILEOP_DEL_ACTION, "event_action"},
      {ANNAL_FILEOP_DEL_FILESIZE, "event_filesize"},
      {ANNAL_FILEOP_DEL_COMP, "event_comp"},
      {ANNAL_FILEOP_DEL_DUID, "event_duid"},
      {ANNAL_FILEOP_DEL_DESC, "event_desc"},
      {ANNAL_FILEOP_DEL_FILEPATH, "event_filepath"},
  };
  for (const auto& [selector, column] : kSelectors) {
    (void)pavo2log_event_del(kPath, selector, &kNumber);
    expect_said(std::string("WHERE ") + column + " = ");
  }
}

TEST_F(Codes, OfNoticesNameTheirColumn) {
  const struct {
    annal_notice_sort sort;
    const char* column;
  } kSorts[] = {
      {ANNAL_NOTICE_SORT_TIME, "time"},
      {ANNAL_NOTICE_SORT_SEVERITY, "severity"},
      {ANNAL_NOTICE_SORT_USER, "user"},
      {ANNAL_NOTICE_SORT_IP, "ip"},
      {ANNAL_NOTICE_SORT_CLIENT, "client"},
      {ANNAL_NOTICE_SORT_ID, "id"},
      {ANNAL_NOTICE_SORT_SERVER, "server"},
      {ANNAL_NOTICE_SORT_ACTION, "action"},
      {ANNAL_NOTICE_SORT_SERVICENAME, "serviceName"},
      {ANNAL_NOTICE_SORT_FACILITY, "facility"},
      {ANNAL_NOTICE_SORT_MSGCODE, "msgCode"},
  };
  for (const auto& [sort, column] : kSorts) {
    (void)annal_notice_query(nullptr, sort + ANNAL_DESCENDING, 0, 0, 0, nullptr);
    expect_said(std::string("ORDER BY ") + column + " DESC");
  }
  const struct {
    annal_notice_selector selector;
    const char* column;
  } kSelectors[] = {
      {ANNAL_NOTICE_DEL_ID, "id"},
      {ANNAL_NOTICE_DEL_SEVERITY, "severity"},
      {ANNAL_NOTICE_DEL_SERVER, "server"},
      {ANNAL_NOTICE_DEL_ACTION, "action"},
      {ANNAL_NOTICE_DEL_SERVICENAME, "serviceName"},
      {ANNAL_NOTICE_DEL_FACILITY, "facility"},
      {ANNAL_NOTICE_DEL_TIME, "time"},
      {ANNAL_NOTICE_DEL_ENDTIME, "endtime"},
      {ANNAL_NOTICE_DEL_USER, "user"},
      {ANNAL_NOTICE_DEL_IP, "ip"},
      {ANNAL_NOTICE_DEL_DESC, "desc"},
      {ANNAL_NOTICE_DEL_MSGCODE, "msgCode"},
      {ANNAL_NOTICE_DEL_VARNUM, "varNum"},
      {ANNAL_NOTICE_DEL_VARCONTENT, "varContent"},
      {ANNAL_NOTICE_DEL_NAME, "name"},
      {ANNAL_NOTICE_DEL_STATUS, "status"},
      {ANNAL_NOTICE_DEL_UID, "uid"},
      {ANNAL_NOTICE_DEL_GID, "gid"},
      {ANNAL_NOTICE_DEL_LINK_ID, "link_id"},
      {ANNAL_NOTICE_DEL_LINK_OPTION, "link_option"},
      {ANNAL_NOTICE_DEL_TITLE, "title"},
  };
  for (const auto& [selector, column] : kSelectors) {
    (void)annal_notice_del(selector, &kNumber);
    expect_said(std::string("WHERE ") + column + " = ");
  }
  const struct {
    annal_notice_group group;
    const char* clause;
  } kGroups[] = {
      {ANNAL_NOTICE_GROUP_ID, "GROUP BY id "},
      {ANNAL_NOTICE_GROUP_SEVERITY, "GROUP BY severity "},
      {ANNAL_NOTICE_GROUP_SERVER, "GROUP BY server "},
      {ANNAL_NOTICE_GROUP_ACTION, "GROUP BY action "},
      {ANNAL_NOTICE_GROUP_SERVICENAME, "GROUP BY serviceName "},
      {ANNAL_NOTICE_GROUP_FACILITY, "GROUP BY facility "},
      {ANNAL_NOTICE_GROUP_TIME, "GROUP BY time "},
      {ANNAL_NOTICE_GROUP_ENDTIME, "GROUP BY endtime "},
      {ANNAL_NOTICE_GROUP_USER, "GROUP BY user "},
      {ANNAL_NOTICE_GROUP_IP, "GROUP BY ip "},
      {ANNAL_NOTICE_GROUP_DESC, "GROUP BY desc "},
      {ANNAL_NOTICE_GROUP_MSGCODE, "GROUP BY msgCode "},
      {ANNAL_NOTICE_GROUP_VARNUM, "GROUP BY varNum "},
      {ANNAL_NOTICE_GROUP_VARCONTENT, "GROUP BY varContent "},
      {ANNAL_NOTICE_GROUP_ALIKE, "GROUP BY facility,name,desc "},
  };
  for (const auto& [group, clause] : kGroups) {
    (void)annal_notice_query_group_byclientTime(/* callback= */ nullptr, /* from= */ "0", /* days= */ 1, /* to= */ "9",
                                                /* start= */ 0, /* end= */ 0, ANNAL_NOTICE_SORT_TIME, group,
                                                /* condition= */ nullptr,
                                                /* context= */ nullptr);
    expect_said(clause);
  }
}

}  // namespace
}  // namespace annal::test
