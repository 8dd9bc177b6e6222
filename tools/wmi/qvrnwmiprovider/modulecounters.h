// What keeps the module loaded: live objects and server locks, counted across threads.
#pragma once

namespace qvrn {

/// Counts one object for as long as it lives; provider objects and class handlers hold one.
class LiveObject {
 public:
  LiveObject() noexcept;
  ~LiveObject();
  LiveObject(const LiveObject&) = delete;
  LiveObject& operator=(const LiveObject&) = delete;
};

void LockModule() noexcept;
void UnlockModule() noexcept;

/// True while an object lives or a lock is held.
bool ModuleIsInUse() noexcept;

}  // namespace qvrn
