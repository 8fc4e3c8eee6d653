#include "injector.h"

#include <array>
#include <cstring>

#include "faults.h"
#include "walk.h"

namespace faults {

namespace {

struct Rule {
  int calls;
  int first;
  int last;
  int error;
};

thread_local std::array<Rule, static_cast<size_t>(Call::count)> rules{};

constexpr const char* names[] = {
#define X(name) #name,
    ZOLT_FAULT_FUNCTIONS(X)
#undef X
};

Rule* ruleFor(const char* function) {
  for (size_t i = 0; i < rules.size(); ++i) {
    if (strcmp(names[i], function) == 0) return &rules[i];
  }
  return nullptr;
}

}  // namespace

bool fails(Call call, const void* caller) {
  Rule& rule = rules[static_cast<size_t>(call)];
  ++rule.calls;
  if (walks(caller) && stepFails(names[static_cast<size_t>(call)])) return true;
  if (rule.calls < rule.first || rule.calls > rule.last) return false;
  if (rule.error >= 0) errno = rule.error;
  return true;
}

}  // namespace faults

int zolt_fault_arm(const char* function, int first, int last, int error) {
  faults::Rule* rule = faults::ruleFor(function);
  if (rule == nullptr) return -1;
  *rule = {0, first, last, error};
  return 0;
}

int zolt_fault_calls(const char* function) {
  const faults::Rule* rule = faults::ruleFor(function);
  return rule != nullptr ? rule->calls : -1;
}

void zolt_fault_clear(void) {
  faults::rules = {};
  zolt_fault_mount_table(nullptr);
  zolt_fault_directory_size(0);
  zolt_fault_entry_type(-1);
  zolt_fault_numbered_entries(0);
  zolt_fault_stray_errno(0);
  zolt_fault_xattr_names(nullptr, 0);
  zolt_fault_xattr_lengths(-1, -1);
  zolt_fault_realtime(nullptr);
  zolt_fault_user(nullptr, 0, 0, 0);
  zolt_fault_group(nullptr, 0, 0);
  zolt_fault_entry_size(0);
  zolt_fault_slow_lookups(0);
  zolt_fault_group_count(0);
  zolt_fault_attribute(0, 0, 0);
}
