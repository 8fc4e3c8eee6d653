#include "monitors.h"

#include <rados/librados.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <system_error>

#include "settings.h"

namespace zolt_cephfs {

namespace {

using nlohmann::json;

// In an erasure-coded pool a copy that is missing keeps its place, under this number.
constexpr int64_t MISSING = 0x7fffffff;

[[noreturn]] void fail(const std::string& what, int result, std::string_view reason = {}) {
  const int error = result < 0 ? -result : EIO;
  std::string text = what + ": " + std::generic_category().message(error);
  if (!reason.empty()) text.append(" (").append(reason).append(")");
  throw NoAnswer(error, text);
}

void check(const std::string& what, int result) {
  if (result < 0) fail(what, result);
}

// What is given back by librados, as a string.
class Answer {
 public:
  ~Answer() { rados_buffer_free(bytes); }
  std::string_view view() const { return {bytes != nullptr ? bytes : "", length}; }

  char* bytes = nullptr;
  size_t length = 0;
};

// Only the members of the outermost object that are wanted: a dump tells of every OSD too.
json parse(const std::string& text, std::initializer_list<std::string_view> wanted) {
  const auto keep = [&](int depth, json::parse_event_t event, const json& value) {
    if (depth != 1 || event != json::parse_event_t::key) return true;
    const auto& name = value.get_ref<const std::string&>();
    return std::find(wanted.begin(), wanted.end(), name) != wanted.end();
  };
  return json::parse(text, keep);
}

Pool::Facts factsFrom(const json& pool) {
  constexpr int ERASURE = 3;
  constexpr int RJENKINS = 2;
  Pool::Facts facts;
  facts.id = pool.at("pool");
  facts.name = pool.at("pool_name");
  facts.size = pool.at("size");
  facts.groups = pool.at("pg_num");
  facts.isErasure = pool.at("type") == ERASURE;
  if (facts.groups == 0 || pool.at("object_hash") != RJENKINS) return {};
  const json uses = pool.value("application_metadata", json::object());
  if (uses.contains("cephfs")) facts.fileSystem = uses["cephfs"].value("data", "");
  return facts;
}

Group groupFrom(uint32_t number, const json& answer) {
  Group group{number, answer.at("epoch"), {}};
  for (const int64_t osd : answer.at("acting"))
    group.nodes.push_back(osd == MISSING ? NO_NODE : static_cast<int32_t>(osd));
  return group;
}

}  // namespace

void Monitors::Closer::operator()(void* cluster) const {
  rados_shutdown(cluster);
}

Monitors::Monitors() {
  const Settings& ours = settings();
  rados_t cluster = nullptr;
  check("librados", rados_create(&cluster, ours.id.empty() ? nullptr : ours.id.c_str()));
  cluster_.reset(cluster);
  check("Ceph's configuration file", rados_conf_read_file(cluster, nullptr));
  check("CEPH_ARGS", rados_conf_parse_env(cluster, nullptr));
  // Descriptor 2, the log and the administration socket are the service's, not librados'.
  const std::string seconds = std::to_string(ours.timeout.count());
  for (const auto& [option, value] : {std::pair{"admin_socket", ""},
                                      {"log_file", ""},
                                      {"log_to_stderr", "false"},
                                      {"err_to_stderr", "false"},
                                      {"log_to_syslog", "false"},
                                      {"err_to_syslog", "false"},
                                      {"client_mount_timeout", seconds.c_str()},
                                      {"rados_mon_op_timeout", seconds.c_str()}})
    check(option, rados_conf_set(cluster, option, value));
  check("the connection to the monitors", rados_connect(cluster));
}

Monitors::~Monitors() = default;

std::string Monitors::ask(const std::string& command) {
  const char* commands[] = {command.c_str()};
  Answer out;
  Answer status;
  const int result = rados_mon_command(cluster_.get(), commands, 1, nullptr, 0, &out.bytes,
                                       &out.length, &status.bytes, &status.length);
  if (result < 0) fail(command, result, status.view());
  return std::string(out.view());
}

Pools Monitors::pools() try {
  const json dump = parse(ask(R"({"prefix":"osd dump","format":"json"})"), {"epoch", "pools"});
  Pools pools{dump.at("epoch"), {}};
  for (const json& each : dump.at("pools")) {
    Pool::Facts facts = factsFrom(each);
    if (!facts.name.empty()) pools.facts.push_back(std::move(facts));
  }
  return pools;
} catch (const json::exception& e) {
  throw NoAnswer(EPROTO, std::string("osd dump: ") + e.what());
}

Group Monitors::group(int64_t pool, uint32_t number) try {
  std::array<char, 48> id{};
  std::snprintf(id.data(), id.size(), "%lld.%x", static_cast<long long>(pool), number);
  return groupFrom(number,
                   json::parse(ask(std::string(R"({"prefix":"pg map","format":"json","pgid":")") +
                                   id.data() + "\"}")));
} catch (const json::exception& e) {
  throw NoAnswer(EPROTO, std::string("pg map: ") + e.what());
}

}  // namespace zolt_cephfs
