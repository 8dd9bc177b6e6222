#include "tools/wmi/qvrnwmiprovider/modulecounters.h"

#include <atomic>
#include <cstdint>

namespace qvrn {
namespace {

std::atomic<std::int32_t> g_liveObjects{0};
std::atomic<std::int32_t> g_locks{0};

}  // namespace

LiveObject::LiveObject() noexcept { ++g_liveObjects; }
LiveObject::~LiveObject() { --g_liveObjects; }

void LockModule() noexcept { ++g_locks; }
void UnlockModule() noexcept { --g_locks; }

bool ModuleIsInUse() noexcept { return g_liveObjects != 0 || g_locks != 0; }

}  // namespace qvrn
