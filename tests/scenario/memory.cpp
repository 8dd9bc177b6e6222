// The memory of a program that has the code under test linked in.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tests/scenario/events.h"
#include "tests/scenario/platformcalls.h"

namespace scenario {
namespace {

std::atomic<long> g_liveBlocks{0};

struct alignas(16) BlockHeader {
  std::size_t bytes;
  bool observed;
};
constexpr unsigned char kNew = 0xCD;
constexpr unsigned char kBehind = 0xA5;
constexpr std::size_t kGuardBytes = 32;

void* Allocate(std::size_t bytes) {
  const bool observed = IsObserved();
  if (observed && FailureOf("new", std::to_string(bytes))) return nullptr;
  auto* header = static_cast<BlockHeader*>(std::malloc(sizeof(BlockHeader) + bytes + kGuardBytes));
  if (header == nullptr) return nullptr;
  *header = {bytes, observed};
  if (observed) ++g_liveBlocks;
  auto* block = reinterpret_cast<unsigned char*>(header + 1);
  std::memset(block, kNew, bytes);
  std::memset(block + bytes, kBehind, kGuardBytes);
  return block;
}

void Free(void* memory) noexcept {
  if (memory == nullptr) return;
  BlockHeader* header = static_cast<BlockHeader*>(memory) - 1;
  const auto* behind = static_cast<unsigned char*>(memory) + header->bytes;
  if (std::any_of(behind, behind + kGuardBytes, [](unsigned char byte) { return byte != kBehind; })) {
    std::fputs("something was written behind a block of memory\n", stderr);
    std::abort();
  }
  if (header->observed) --g_liveBlocks;
  std::memset(memory, kNew, header->bytes);
  std::free(header);
}

}  // namespace

long LiveBlocks() noexcept { return g_liveBlocks; }

}  // namespace scenario

void* operator new(std::size_t bytes) {
  void* memory = scenario::Allocate(bytes);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { scenario::Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { scenario::Free(memory); }
