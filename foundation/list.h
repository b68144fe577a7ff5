#pragma once

// Singly linked list that owns its elements.
//
//   Elements any type whose first field is `T* next`; made by the caller with new.
//   Cost     AddBottom and Detach walk from the head: the lists of this program are short.
//   Threads  as an ordinary container; whoever shares a list guards it.
//   Errors   none.

template <typename T>
class LListIterator;

template <typename T>
class LList {
 public:
  constexpr LList() noexcept = default;
  constexpr ~LList() { Clear(); }
  LList(const LList&) = delete;
  LList& operator=(const LList&) = delete;

  // Takes the item (from new, in no other list) as the last element.
  constexpr void AddBottom(T* item) noexcept {
    item->next = nullptr;
    T** link = &head;
    while (*link != nullptr) link = &(*link)->next;
    *link = item;
  }

  // Takes the iterator's current element out and gives it to the caller. The iterator moves to the following
  // element first, so that a loop may detach while it walks. Null past the end or when the element is not in
  // this list; nothing is taken out then, but the iterator has moved all the same.
  constexpr T* Detach(LListIterator<T>& it) noexcept {
    T* const item = it.current;
    if (item == nullptr) return nullptr;
    ++it;
    for (T** link = &head; *link != nullptr; link = &(*link)->next) {
      if (*link != item) continue;
      *link = item->next;
      item->next = nullptr;
      return item;
    }
    return nullptr;
  }

  // Deletes every element, first to last.
  constexpr void Clear() noexcept {
    while (head != nullptr) {
      T* const item = head;
      head = item->next;
      delete item;
    }
  }

  T* head = nullptr;
};

// Walks a list: `for (LListIterator<T> it(list); it; ++it) it->...`. Its element must stay in existence while
// it stands there; Detach is the way to remove it.
template <typename T>
class LListIterator {
 public:
  constexpr explicit LListIterator(const LList<T>& list) noexcept : current(list.head) {}

  // The current element, null past the end.
  constexpr T* operator->() const noexcept { return current; }
  constexpr T& operator*() const noexcept { return *current; }
  constexpr explicit operator bool() const noexcept { return current != nullptr; }
  // Past the end it stays there.
  constexpr LListIterator& operator++() noexcept {
    if (current != nullptr) current = current->next;
    return *this;
  }

  T* current;
};
