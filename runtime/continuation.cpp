#include "runtime/continuation.h"

#include <syslog.h>

namespace runtime {

void reportMisuse(ContinuationMisuse misuse, const char* label) {
  syslog(LOG_ERR, "continuation misuse: %s %s", label,
         misuse == ContinuationMisuse::resumedTwice ? "was resumed more than once"
                                                    : "was never resumed");
}

}  // namespace runtime
