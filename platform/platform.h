/*
 * The appliance's platform functions that the library calls. On an appliance they come from its own
 * libCorix_Util.so.0 and libCorix_config.so.0; elsewhere from the stand-ins in this folder, which have the same names.
 */
#ifndef CORIX_PLATFORM_H
#define CORIX_PLATFORM_H

#ifdef __cplusplus
extern "C" {
#endif

/* libCorix_Util.so.0 */

/* Returns non-zero if the text is an IPv6 address. */
int IS_IPv6_Address(const char* text);

/* Returns non-zero if the text is an acceptable source, that is, an IPv4 address. */
int Is_Valid_Source(const char* text);

/* Removes Unicode control characters in place and returns the number of bytes removed. */
int Skip_Unicode_Control_Characters(char* text);

/* Runs a program and waits for it. Returns its exit status, or -1 if it could not be started. */
int zeno_exec_v(const void* unused1, const void* unused2, const void* unused3, const char* path, char* const argv[]);

/* libCorix_config.so.0: the appliance's other log consumers. The library ignores their results. */

int SNMPTrap_Send_Alert(const char* message, int type);

int SendEventToZSyslogd(int type, const char* user, const char* ip, const char* comp, const char* app_name,
                        const char* category, const char* message);

int SendNoticeToLogEngine(int severity, int arg2, const char* arg3, const char* arg4, int arg5, const char* arg6,
                          int arg7, int arg8, int arg9, const char* user, const char* ip, const char* comp,
                          const char* arg13, const char* arg14, const char* arg15, const char* message);

int SendConnToZSyslogd(int type, const char* user, const char* ip, const char* comp, int serv, int action,
                       const char* resource);

#ifdef __cplusplus
}
#endif

#endif /* CORIX_PLATFORM_H */
