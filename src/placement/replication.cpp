#include "placement/replication.h"

#include "placement/directives.h"

namespace zolt {

int getBGF(int fd) {
  if (fd < 0) return -1;
  AttributeRequest request{headerFor<AttributeRequest>(), readBgfRecord()};
  if (const Errno error = ask(zolt_fcntl, fd, request)) return -error.value();
  return request.record.status == 0 ? bgfIn(request.record) : 0;
}

int setBGF(int fd, int bgf) {
  AttributeRequest request{headerFor<AttributeRequest>(), writeBgfRecord(bgf)};
  return ask(zolt_fcntl, fd, request, Failing::NEGATIVE).asSystemCall();
}

int setReplication(int fd, short replication) {
  SetReplicationRequest request{headerFor<SetReplicationRequest>(), {}};
  request.record.length = sizeof request.record;
  request.record.type = ZOLT_SET_REPLICATION;
  request.record.dataReplicas = replication;
  return ask(zolt_fcntl, fd, request).asSystemCall();
}

int restripeFile(int fd) {
  RestripeRequest request{headerFor<RestripeRequest>(), {}};
  request.record.length = sizeof request.record;
  request.record.type = ZOLT_RESTRIPE;
  request.record.option = ZOLT_RESTRIPE_OPTION;
  return ask(zolt_restripe_file, fd, request).asSystemCall();
}

}  // namespace zolt
