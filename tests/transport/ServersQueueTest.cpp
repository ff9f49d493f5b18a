#include "transport/BDXServersQueue.h"

#include <gtest/gtest.h>

#include "transport/BDXHighLevelRequest.h"

namespace {

class FirstKind : public BDXHighLevelRequest {
    BDX_DECLARE_CLASS(FirstKind, bdx::Object)
  public:
    void executeNow() override {}
};
class FirstKindChild : public FirstKind {
    BDX_DECLARE_CLASS(FirstKindChild, FirstKind)
};
class SecondKind : public BDXHighLevelRequest {
    BDX_DECLARE_CLASS(SecondKind, bdx::Object)
  public:
    void executeNow() override {}
};

TEST(ServersQueueTest, PushAndPopAnswerTheHeadAfterTheChange) {
    BDXServersQueue queue;
    auto a = std::make_shared<FirstKind>();
    auto b = std::make_shared<SecondKind>();
    EXPECT_EQ(queue.pushServer(a), a);
    EXPECT_EQ(queue.pushServer(b), a) << "appended at the end";
    EXPECT_EQ(queue.popServer(a), b);
    EXPECT_EQ(queue.popServer(b), nullptr);
    EXPECT_TRUE(queue.serverRequests().empty());
}

TEST(ServersQueueTest, IgnoringAKindSkipsTheNeighbourOfARemovedEntry) {
    BDXServersQueue queue;
    auto a1 = std::make_shared<FirstKind>();
    auto a2 = std::make_shared<FirstKindChild>();
    auto b = std::make_shared<SecondKind>();
    auto a3 = std::make_shared<FirstKind>();
    for (const auto& request : std::vector<std::shared_ptr<BDXBaseRequest>>{a1, a2, b, a3}) {
        queue.pushServer(request);
    }
    queue.ignoreServersOfType({std::make_shared<FirstKind>()});
    // a1 goes; a2 slides into its place and is passed over; b stays; a3 goes.
    EXPECT_EQ(queue.serverRequests(), (std::vector<std::shared_ptr<BDXBaseRequest>>{a2, b}));
    queue.removeAllServers();
    EXPECT_TRUE(queue.serverRequests().empty());
}

}  // namespace
