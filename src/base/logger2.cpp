#include "base/logger2.h"

namespace zolt::logger2 {

int currentLevel = LOG_INFO;

}  // namespace zolt::logger2
