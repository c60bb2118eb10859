// A doubly linked list through its elements: joining and leaving it allocates nothing.
#pragma once

namespace vx {

/// One place in a list. The head of a list is a link without an owner, its elements' links are
/// members of the elements.
template <typename Owner>
struct ListLink {
  Owner* owner = nullptr;
  ListLink* previous = this;
  ListLink* next = this;

  constexpr ListLink() = default;
  explicit ListLink(Owner* linkOwner) : owner(linkOwner) {}
  ListLink(const ListLink&) = delete;
  ListLink& operator=(const ListLink&) = delete;

  void insertBefore(ListLink& place) {
    previous = place.previous;
    next = &place;
    previous->next = this;
    place.previous = this;
  }
  void leave() {
    previous->next = next;
    next->previous = previous;
    previous = this;
    next = this;
  }
};

}  // namespace vx
