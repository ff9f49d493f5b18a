#include "annotation/BDXLinkedListNode.h"

#include <gtest/gtest.h>

TEST(BDXLinkedListNode, OwnsItsSuccessorsAndDropsLongChainsWithoutRecursing) {
    auto head = std::make_shared<BDXLinkedListNode>(0);
    std::shared_ptr<BDXLinkedListNode> kept;
    std::shared_ptr<BDXLinkedListNode> last = head;
    for (int i = 1; i < 500000; ++i) {
        last->setNextNode(std::make_shared<BDXLinkedListNode>(i));
        last = last->nextNode();
        if (i == 499990)
            kept = last;
    }
    last.reset();
    head.reset();
    ASSERT_TRUE(kept);
    int length = 0;
    for (auto node = kept; node; node = node->nextNode())
        ++length;
    EXPECT_EQ(length, 10) << "a cell held elsewhere keeps its own successors";
    EXPECT_EQ(std::any_cast<int>(kept->nodeObject()), 499990);
}
