#pragma once

#include <windows.h>

#include <cstring>
#include <forward_list>
#include <new>

#include "platform/hresult.h"

namespace qvrn {

/// A keyed list that grows at its head: iteration order is the reverse of insertion order. Keys are compared byte for
/// byte. The list owns its nodes, never the items.
template <typename T, typename KeyT>
class List {
 public:
  HRESULT ListInsert(const T& item, const KeyT& key) noexcept {
    try {
      m_nodes.push_front({item, key});
    } catch (const std::bad_alloc&) {
      return HrFromWin32(ERROR_NOT_ENOUGH_MEMORY);
    }
    ++m_count;
    return S_OK;
  }

  /// 0x80070490 when the list is empty.
  HRESULT ListRemoveHead(T& item) noexcept {
    if (m_nodes.empty()) return HrFromWin32(ERROR_NOT_FOUND);
    item = m_nodes.front().item;
    m_nodes.pop_front();
    --m_count;
    return S_OK;
  }

  /// Removes the first node with `key`; 0x80070490 when there is none.
  HRESULT ListRemoveByKey(const KeyT& key, T& item) noexcept {
    for (auto before = m_nodes.before_begin(), node = m_nodes.begin(); node != m_nodes.end(); before = node++) {
      if (std::memcmp(&node->key, &key, sizeof(KeyT)) != 0) continue;
      item = node->item;
      m_nodes.erase_after(before);
      --m_count;
      return S_OK;
    }
    return HrFromWin32(ERROR_NOT_FOUND);
  }

  /// The item `index` links from the head; 0x80070490 from the count on.
  HRESULT ListGetAt(DWORD index, T& item) const noexcept {
    if (index >= m_count) return HrFromWin32(ERROR_NOT_FOUND);
    auto node = m_nodes.begin();
    while (index-- > 0) ++node;
    item = node->item;
    return S_OK;
  }

  /// Calls `visit(item)` from the head on until it gives false.
  template <typename Visitor>
  void ForEach(Visitor visit) const {
    for (const Node& node : m_nodes) {
      if (!visit(node.item)) return;
    }
  }

  DWORD ListCount() const noexcept { return m_count; }

  void ListRemoveAll() noexcept {
    m_nodes.clear();
    m_count = 0;
  }

 private:
  struct Node {
    T item;
    KeyT key;
  };

  std::forward_list<Node> m_nodes;
  DWORD m_count = 0;
};

}  // namespace qvrn
