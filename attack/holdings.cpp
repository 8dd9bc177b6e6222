#include "attack/holdings.h"

#include <algorithm>
#include <cstdint>

#include "lab/netcfg/netcfg.h"
#include "lab/wmi/classobject.h"

namespace attack {
namespace {

constexpr std::uintptr_t kHighestHandle = 0x1000;

std::size_t BusyBytes(HANDLE heap) {
  std::size_t bytes = 0;
  PROCESS_HEAP_ENTRY entry = {};
  ::HeapLock(heap);
  while (::HeapWalk(heap, &entry)) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
  }
  ::HeapUnlock(heap);
  return bytes;
}

}  // namespace

DWORD OpenHandles() {
  DWORD open = 0;
  DWORD flags = 0;
  for (std::uintptr_t number = 4; number < kHighestHandle; number += 4) {
    if (::GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags)) ++open;
  }
  return open;
}

Holdings Measure() {
  Holdings holdings;
  holdings.handles = OpenHandles();
  holdings.objects = lab::LiveClassObjects() + lab::LiveNetCfgObjects();
  HANDLE heaps[64];
  const DWORD count = std::min<DWORD>(::GetProcessHeaps(64, heaps), 64);
  for (DWORD index = 0; index < count; ++index) holdings.heapBytes += BusyBytes(heaps[index]);
  return holdings;
}

}  // namespace attack
