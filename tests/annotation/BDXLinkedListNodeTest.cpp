#include "annotation/BDXLinkedListNode.h"

#include <gtest/gtest.h>

#include <string>

TEST(BDXLinkedListNode, HoldsItsObjectAndItsSuccessor) {
    auto head = std::make_shared<BDXLinkedListNode>(std::string("first"));
    auto tail = std::make_shared<BDXLinkedListNode>(42);
    EXPECT_EQ(head->nextNode(), nullptr);
    head->setNextNode(tail);
    EXPECT_EQ(head->nextNode(), tail);
    EXPECT_EQ(std::any_cast<std::string>(head->nodeObject()), "first");
    EXPECT_EQ(std::any_cast<int>(head->nextNode()->nodeObject()), 42);
}

TEST(BDXLinkedListNode, TheLinkOwnsTheRestOfTheChain) {
    std::weak_ptr<BDXLinkedListNode> watched;
    auto head = std::make_shared<BDXLinkedListNode>(0);
    {
        auto second = std::make_shared<BDXLinkedListNode>(1);
        watched = second;
        head->setNextNode(second);
    }
    ASSERT_FALSE(watched.expired()) << "the link is strong";
    head.reset();
    EXPECT_TRUE(watched.expired());
}

TEST(BDXLinkedListNode, DroppingALongChainNeitherRecursesNorCutsSharedTails) {
    auto head = std::make_shared<BDXLinkedListNode>(0);
    std::shared_ptr<BDXLinkedListNode> kept;
    BDXLinkedListNode* last = head.get();
    for (int i = 1; i < 500000; ++i) {
        auto node = std::make_shared<BDXLinkedListNode>(i);
        last->setNextNode(node);
        last = node.get();
        if (i == 499990) {
            kept = node;
        }
    }
    head.reset();
    ASSERT_TRUE(kept);
    int length = 0;
    for (auto node = kept; node; node = node->nextNode()) {
        ++length;
    }
    EXPECT_EQ(length, 10) << "a cell held elsewhere keeps its own successors";
    EXPECT_EQ(std::any_cast<int>(kept->nodeObject()), 499990);
}
