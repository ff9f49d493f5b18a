#include "annotation/BDXLinkedListNode.h"

#include <utility>

BDXLinkedListNode::BDXLinkedListNode(std::any object) : nodeObject_(std::move(object)) {}

BDXLinkedListNode::~BDXLinkedListNode() {
    std::shared_ptr<BDXLinkedListNode> next = std::move(nextNode_);
    // A cell still shared elsewhere is not ours to unlink: its other owner keeps the rest of the chain.
    while (next && next.use_count() == 1) {
        std::shared_ptr<BDXLinkedListNode> after = std::move(next->nextNode_);
        next = std::move(after);
    }
}
