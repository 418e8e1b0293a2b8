#include "tests/support/appliance.h"
