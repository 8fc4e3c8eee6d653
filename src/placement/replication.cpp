#include "placement/replication.h"

#include <cerrno>

#include "placement/directives.h"

namespace zolt {

int getBGF(int fd) {
  if (fd < 0) return -1;
  AttributeRequest request{headerFor<AttributeRequest>(), readBgfRecord()};
  if (send(zolt_fcntl, fd, request) != 0) return -errnoOfFailure();
  return request.record.status == 0 ? bgfIn(request.record) : 0;
}

int setBGF(int fd, int bgf) {
  AttributeRequest request{headerFor<AttributeRequest>(), writeBgfRecord(bgf)};
  return send(zolt_fcntl, fd, request) < 0 ? -1 : 0;
}

int setReplication(int fd, short replication) {
  SetReplicationRequest request{headerFor<SetReplicationRequest>(), {}};
  request.record.length = sizeof request.record;
  request.record.type = ZOLT_SET_REPLICATION;
  request.record.dataReplicas = replication;
  return send(zolt_fcntl, fd, request) == 0 ? 0 : -1;
}

int restripeFile(int fd) {
  RestripeRequest request{headerFor<RestripeRequest>(), {}};
  request.record.length = sizeof request.record;
  request.record.type = ZOLT_RESTRIPE;
  request.record.option = ZOLT_RESTRIPE_OPTION;
  return send(zolt_restripe_file, fd, request) == 0 ? 0 : -1;
}

}  // namespace zolt
