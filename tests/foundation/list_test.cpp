#include "foundation/list.h"

namespace {

struct Node {
  Node* next = nullptr;
  int value = 0;
  std::vector<int>* deaths = nullptr;

  Node(int number, std::vector<int>* mourner = nullptr) : value(number), deaths(mourner) {}
  ~Node() {
    if (deaths != nullptr) deaths->push_back(value);
  }
};

// A row of nested lists: clearing the outer one must clear the inner ones.
struct Row {
  Row* next = nullptr;
  LList<Node> nodes;
};

std::vector<int> Values(const LList<Node>& list) {
  std::vector<int> values;
  for (LListIterator<Node> it(list); it; ++it) values.push_back(it->value);
  return values;
}

constinit LList<Node> listOfStaticLifetime;

TEST(LList, AddBottomKeepsTheOrderAndEndsTheChain) {
  LList<Node> list;
  Node* const second = new Node(2);
  second->next = second;  // Whatever it pointed to before.
  list.AddBottom(new Node(1));
  list.AddBottom(second);
  list.AddBottom(new Node(3));
  EXPECT_EQ(Values(list), (std::vector{1, 2, 3}));
}

TEST(LList, IteratorOfAnEmptyListIsPastTheEndAndStaysThere) {
  LList<Node> list;
  LListIterator<Node> it(list);
  EXPECT_FALSE(it);
  EXPECT_EQ(it.operator->(), nullptr);
  ++it;
  EXPECT_EQ(it.operator->(), nullptr);
}

TEST(LList, DetachOfTheHeadLeavesTheIteratorOnTheNewHead) {
  LList<Node> list;
  for (int i = 1; i <= 3; ++i) list.AddBottom(new Node(i));
  LListIterator<Node> it(list);
  Node* const first = list.Detach(it);
  EXPECT_EQ(first->value, 1);
  EXPECT_EQ(it.operator->(), list.head);
  EXPECT_EQ(it->value, 2);
  EXPECT_EQ(Values(list), (std::vector{2, 3}));
  delete first;
}

TEST(LList, DetachOfTheMiddleAndOfTheLast) {
  LList<Node> list;
  for (int i = 1; i <= 3; ++i) list.AddBottom(new Node(i));
  LListIterator<Node> it(list);
  ++it;
  delete list.Detach(it);
  EXPECT_EQ(it->value, 3);
  delete list.Detach(it);
  EXPECT_FALSE(it);
  EXPECT_EQ(list.Detach(it), nullptr);
  EXPECT_EQ(Values(list), (std::vector{1}));
  list.AddBottom(new Node(4));
  EXPECT_EQ(Values(list), (std::vector{1, 4}));
}

TEST(LList, DetachWhileIteratingVisitsEveryElementOnce) {
  LList<Node> list;
  for (int i = 1; i <= 6; ++i) list.AddBottom(new Node(i));
  std::vector<int> seen;
  for (LListIterator<Node> it(list); it;) {
    seen.push_back(it->value);
    if (it->value % 2 == 0) {
      delete list.Detach(it);
    } else {
      ++it;
    }
  }
  EXPECT_EQ(seen, (std::vector{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(Values(list), (std::vector{1, 3, 5}));
}

TEST(LList, DetachOfAForeignElementUnlinksNothingButMovesTheIterator) {
  LList<Node> list;
  LList<Node> other;
  list.AddBottom(new Node(1));
  other.AddBottom(new Node(7));
  other.AddBottom(new Node(8));
  LListIterator<Node> it(other);
  EXPECT_EQ(list.Detach(it), nullptr);
  EXPECT_EQ(it->value, 8);
  EXPECT_EQ(Values(list), (std::vector{1}));
  EXPECT_EQ(Values(other), (std::vector{7, 8}));
}

TEST(LList, ClearDeletesFromTheHeadOnAndTheListIsUsableAgain) {
  std::vector<int> deaths;
  LList<Node> list;
  for (int i = 1; i <= 3; ++i) list.AddBottom(new Node(i, &deaths));
  list.Clear();
  EXPECT_EQ(deaths, (std::vector{1, 2, 3}));
  EXPECT_EQ(list.head, nullptr);
  list.AddBottom(new Node(4, &deaths));
  EXPECT_EQ(Values(list), (std::vector{4}));
}

TEST(LList, TheEndOfAListDeletesItsElementsAndThoseOfInnerLists) {
  std::vector<int> deaths;
  {
    LList<Row> rows;
    for (int r = 0; r < 2; ++r) {
      Row* const row = new Row;
      rows.AddBottom(row);
      row->nodes.AddBottom(new Node(10 * r, &deaths));
      row->nodes.AddBottom(new Node(10 * r + 1, &deaths));
    }
  }
  EXPECT_EQ(deaths, (std::vector{0, 1, 10, 11}));
}

TEST(LList, IsOneWordAndReadyBeforeAnyCodeRuns) {
  EXPECT_EQ(sizeof(LList<Node>), sizeof(void*));
  EXPECT_EQ(sizeof(LListIterator<Node>), sizeof(void*));
  EXPECT_EQ(listOfStaticLifetime.head, nullptr);
}

}  // namespace
