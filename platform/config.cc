// Stand-in for the appliance's libCorix_config.so.0, with no other log consumer to send to.
#include "platform/platform.h"

extern "C" int SNMPTrap_Send_Alert(const char* /*message*/, int /*type*/) {
  return 0;
}

extern "C" int SendEventToZSyslogd(int /*type*/, const char* /*user*/, const char* /*ip*/, const char* /*comp*/,
                                   const char* /*app_name*/, const char* /*category*/, const char* /*message*/) {
  return 0;
}

extern "C" int SendNoticeToLogEngine(int /*severity*/, int /*arg2*/, const char* /*arg3*/, const char* /*arg4*/,
                                     int /*arg5*/, const char* /*arg6*/, int /*arg7*/, int /*arg8*/, int /*arg9*/,
                                     const char* /*user*/, const char* /*ip*/, const char* /*comp*/,
                                     const char* /*arg13*/, const char* /*arg14*/, const char* /*arg15*/,
                                     const char* /*message*/) {
  return 0;
}

extern "C" int SendConnToZSyslogd(int /*type*/, const char* /*user*/, const char* /*ip*/, const char* /*comp*/,
                                  int /*serv*/, int /*action*/, const char* /*resource*/) {
  return 0;
}
