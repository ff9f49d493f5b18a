#pragma once

#include <any>
#include <memory>

// A singly linked list cell: an object that cannot change once set, and a strong link to the next cell.
class BDXLinkedListNode {
  public:
    explicit BDXLinkedListNode(std::any object);
    // Unlinks the tail cell by cell, so that dropping the head of a long chain cannot overflow the stack
    // through nested destructors.
    ~BDXLinkedListNode();

    BDXLinkedListNode(const BDXLinkedListNode&) = delete;
    BDXLinkedListNode& operator=(const BDXLinkedListNode&) = delete;

    const std::any& nodeObject() const { return nodeObject_; }

    std::shared_ptr<BDXLinkedListNode> nextNode() const { return nextNode_; }
    void setNextNode(std::shared_ptr<BDXLinkedListNode> nextNode) { nextNode_ = std::move(nextNode); }

  private:
    const std::any nodeObject_;
    std::shared_ptr<BDXLinkedListNode> nextNode_;
};
