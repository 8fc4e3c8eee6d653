// What the records of a request do, one kind each.
#pragma once

#include "directives.h"

namespace zolt_cephfs {

/// What zolt_fcntl takes, and zolt_restripe_file; null for any other type.
const zolt_client::Directive* fcntlDirective(uint32_t type);
const zolt_client::Directive* restripeDirective(uint32_t type);

}  // namespace zolt_cephfs
