// A walk: between its begin and its end on a thread, every interposed call that the library itself
// makes is noted in order, and one of them fails or has its answer altered.
#pragma once

#include <cstddef>

namespace faults {

/// How the chosen call is altered instead of failed: it is made, and its answer is changed. A count
/// or length is one less, one more or none; a lookup finds no entry; a listing of groups does not
/// fit; anything else ignores it.
enum class Altered { NO, ONE_LESS, NONE, ONE_MORE };

/// What the library holds that it took during the walk.
enum class Holding { DESCRIPTOR, STREAM, TABLE, ACL, MEMORY, count };

/// Whether a walk is under way on this thread and the caller's address is in the library.
bool walks(const void* caller);

/// The same for an allocation: strings and streams allocate in the C++ library, on behalf of the
/// library that uses them. Its own walk: each is counted, and one finds no memory.
bool allocates(const void* caller);
bool memoryFails(const void* caller);

/// Notes a call; true, with errno set, when it is the one that shall fail.
bool stepFails(const char* function);

/// How to alter the answer of the call that was noted last; NO when asked again. A call that makes
/// others on its way asks before it.
Altered alteration();

/// The answer of a call that answers a count, altered as it shall be; a failure stays one.
template <class Count>
Count altered(Count answer) {
  const Altered how = alteration();
  if (answer < 0) return answer;
  switch (how) {
    case Altered::ONE_LESS:
      return answer > 0 ? answer - 1 : 0;
    case Altered::NONE:
      return 0;
    case Altered::ONE_MORE:
      return answer + 1;
    default:
      return answer;
  }
}

/// Notes that the library took (+1) or gave back (-1) something, when `caller` is the library.
void hold(Holding what, int change, const void* caller = __builtin_return_address(0));

/// The same for the one that a function answers, unless it is null.
template <class Object>
Object* held(Holding what, Object* object, const void* caller = __builtin_return_address(0)) {
  if (object != nullptr) hold(what, 1, caller);
  return object;
}

}  // namespace faults

extern "C" {

/// Begins a walk on this thread in which step number `failing` (from 1; 0: none) fails with that
/// errno (0: with errno 0), or, when `altered` is not 0, answers something else (Altered), and in
/// which allocation number `failingMemory` (from 1; 0: none) finds no memory. After it, step number
/// `failingToo` (0: none) fails with EIO: one that a failure brings about may fail itself.
void zolt_walk_begin(int failing, int error, int altered, int failingMemory, int failingToo);

/// Ends it. What was noted stays until the next begin.
void zolt_walk_end(void);

/// Notes a step that is not an interposed function; true when it is the one that shall fail.
bool zolt_walk_step(const char* function);

/// The number of steps, and each one's function, from 0.
int zolt_walk_steps(void);
const char* zolt_walk_step_name(int step);

/// The number of the library's allocations.
int zolt_walk_allocations(void);

/// How much of each Holding is left, in the order of that enumeration.
int zolt_walk_left(int what);
}
