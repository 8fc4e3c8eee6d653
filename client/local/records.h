// What the records of a request do, one kind each.
#pragma once

#include "directives.h"

namespace zolt_local {

extern const zolt_client::Acts ACTS;

}  // namespace zolt_local
