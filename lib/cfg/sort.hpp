// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace kvrn {

// Merges two sorted chains. Of equal nodes, those of `a` come first.
template <typename Node, typename Less>
Node* merge_chains(Node* a, Node* b, Less less) {
  Node* first = nullptr;
  Node** link = &first;
  while (a != nullptr && b != nullptr) {
    Node*& lower = less(*b, *a) ? b : a;
    *link = lower;
    link = &lower->next;
    lower = lower->next;
  }
  *link = a != nullptr ? a : b;
  return first;
}

// Sorts the first `count` (at least 1) nodes of a chain. `rest` receives the node after them.
template <typename Node, typename Less>
Node* sort_part(Node* first, std::size_t count, Node*& rest, Less less) {
  if (count == 1) {
    rest = first->next;
    first->next = nullptr;
    return first;
  }
  Node* second = nullptr;
  Node* lower = sort_part(first, count / 2, second, less);
  Node* upper = sort_part(second, count - count / 2, rest, less);
  return merge_chains(lower, upper, less);
}

// Stable merge sort of a chain that is linked by `next`. It needs at most n log2 n + n comparisons and allocates
// nothing.
template <typename Node, typename Less>
Node* sort_chain(Node* first, Less less) {
  std::size_t count = 0;
  bool sorted = true;
  for (Node* node = first; node != nullptr; node = node->next, ++count)
    sorted = sorted && (node->next == nullptr || !less(*node->next, *node));
  Node* rest = nullptr;
  return sorted ? first : sort_part(first, count, rest, less);
}

}  // namespace kvrn
