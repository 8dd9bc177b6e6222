// Owners of platform handles: one trait per kind of handle says what "none" is and how it is closed.
#pragma once

#include <windows.h>

#include <setupapi.h>

namespace qvrn {

template <typename Traits>
class UniqueHandle {
 public:
  using Value = typename Traits::Value;

  UniqueHandle() noexcept = default;
  explicit UniqueHandle(Value value) noexcept : m_value(value) {}
  UniqueHandle(UniqueHandle&& other) noexcept : m_value(other.Release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  ~UniqueHandle() { Reset(); }

  Value Get() const noexcept { return m_value; }
  explicit operator bool() const noexcept { return m_value != Traits::None(); }

  /// Closes what is held and gives the address for a function that hands out a handle.
  Value* Put() noexcept {
    Reset();
    return &m_value;
  }

  Value Release() noexcept {
    const Value value = m_value;
    m_value = Traits::None();
    return value;
  }

  void Reset(Value value = Traits::None()) noexcept {
    if (m_value != Traits::None()) Traits::Close(m_value);
    m_value = value;
  }

 private:
  Value m_value = Traits::None();
};

/// Files, tokens, threads, events: null is none, CloseHandle.
struct KernelHandleTraits {
  using Value = HANDLE;
  static Value None() noexcept { return nullptr; }
  static void Close(Value value) noexcept { ::CloseHandle(value); }
};
using KernelHandle = UniqueHandle<KernelHandleTraits>;

/// Files by CreateFileW: INVALID_HANDLE_VALUE is none, CloseHandle.
struct FileHandleTraits {
  using Value = HANDLE;
  static Value None() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Value value) noexcept { ::CloseHandle(value); }
};
using FileHandle = UniqueHandle<FileHandleTraits>;

/// Device information sets: INVALID_HANDLE_VALUE is none, SetupDiDestroyDeviceInfoList.
struct DeviceInfoListTraits {
  using Value = HDEVINFO;
  static Value None() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Value value) noexcept { ::SetupDiDestroyDeviceInfoList(value); }
};
using DeviceInfoList = UniqueHandle<DeviceInfoListTraits>;

}  // namespace qvrn
