// A change that takes itself back unless somebody confirms it: what the processes that deal with it tell each other, in
// files below the machine's program data, which survive all of them.
#pragma once

#include "platform/handle.h"

#include <cstdint>
#include <string>

#include "tools/qvrnctl/json.h"

namespace qvrn {

/// Where a pending change stands.
enum class PendingStage {
  kNone,        ///< there is no change
  kChanging,    ///< it is being made
  kWaiting,     ///< it is made, or its maker has ended; it waits for its confirmation
  kTakingBack,  ///< the old state is being brought back
  kStuck,       ///< the old state was not brought back: the process that did it has failed or ended
};

/// The files of the one change that a machine may have pending. All of them may be read by any process of an
/// administrator, and each step from one stage to the next is one renaming, so that only one process takes it.
class PendingChange {
 public:
  /// Finds the folder below the program data. Throws ClientError.
  PendingChange();

  PendingStage Stage() const;
  /// What is pending: `command` (for people), `namespace`, `started`, `seconds`, `state` (as of `qvrnctl show`).
  Json Record() const;
  /// When a waiting change is taken back, in seconds since 1970; 0 before that is known.
  std::int64_t Deadline() const;
  /// Whether a process waits that will take the change back.
  bool IsGuarded() const { return IsHeld(L"guard.lock"); }

  /// Throws ClientError when a change is pending already.
  void RefuseSecond() const;
  /// Begins a change, which is being made until StartToWait or until the process ends. Throws ClientError as above.
  void Begin(const Json& record);
  /// The change is made, or its maker has ended: it waits for `seconds` from now on.
  void StartToWait(unsigned seconds);
  /// Takes the guard's place as long as this object lives. False when another process has it.
  bool Guard();

  /// The change is kept. False when another process was faster, or nothing waits.
  bool Keep();
  /// From here on the old state is being brought back, by this process. False when another process was faster, or there
  /// is none.
  bool StartToTakeBack();
  /// The old state is there.
  void Finish();
  /// It is not: it can be tried again.
  void GiveUp() { m_taker.Reset(); }

  /// Whether the change that began in this process was kept.
  bool WasKept() const;

  /// Adds a line to the log, with the time. Never fails the caller.
  void Log(const std::wstring& line) const;
  std::wstring LogFile() const { return File(L"qvrnctl.log"); }

 private:
  std::wstring File(const wchar_t* name) const { return m_folder + L"\\" + name; }
  bool Exists(const wchar_t* name) const;
  bool Rename(const wchar_t* from, const wchar_t* to) const;
  void Delete(const wchar_t* name) const;
  FileHandle Hold(const wchar_t* lock) const;
  bool IsHeld(const wchar_t* lock) const;

  std::wstring m_folder;
  std::string m_id;    // of the change that began here
  FileHandle m_maker;  // held while the change is made
  FileHandle m_guard;  // held while the guard waits
  FileHandle m_taker;  // held while the old state is brought back
};

}  // namespace qvrn
