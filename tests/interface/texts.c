/* The header of texts, alone and before anything else. With a number as its argument it is asked for what that is. */
#include "Corix_annal_text.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct question {
  const char* name;
  const char* (*answer)(int);
};

int main(int argc, char** argv) {
  static const struct question questions[] = {
      {"result_text", annal_result_text}, {"result_name", annal_result_name},   {"level", annal_level_name},
      {"severity", annal_severity_name},  {"action", annal_action_result_name}, {"log_name", annal_log_name},
      {"log_path", annal_log_path},
  };
  size_t i;
  if (argc != 3) {
    return 2;
  }
  for (i = 0; i < sizeof questions / sizeof questions[0]; ++i) {
    if (strcmp(argv[1], questions[i].name) == 0) {
      puts(questions[i].answer(atoi(argv[2])));
      return 0;
    }
  }
  return 2;
}
