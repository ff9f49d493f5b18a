#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "PipelineTestSupport.h"
#include "persistence/BDXDiskPersistenceManager.h"

namespace bdx::testing {
namespace {

// Writes down what the manager tells it, on the main thread.
class AssetWaiter : public BDXServerManagerAssetDelegate {
  public:
    struct Call {
        std::string url;
        std::string path;
        bool isSuccess;
    };
    void loadedAssetOfURL(const std::string& url, const std::string& atPath, bool isSuccess) override {
        calls.push_back({url, atPath, isSuccess});
    }
    std::vector<Call> calls;
};

using AssetDownloadTest = PipelineTest;

TEST_F(AssetDownloadTest, TheAssetIsStoredUnderItsNameWithoutTheQuery) {
    collector->script("/api/sdk/v3/assets/b.png",
                      bdx::Value::parse(R"([{"status": 200, "body": "PNGBYTES"}])"));
    auto waiter = std::make_shared<AssetWaiter>();
    const std::string asset = url("/assets/b.png?x=1");
    manager()->loadAssetOfURL(asset, waiter);
    ASSERT_TRUE(pumpUntil([&] { return !waiter->calls.empty(); }));

    const std::string path = BDXDiskPersistenceManager::getInstance()->cacheDirectory() + "b.png";
    EXPECT_EQ(waiter->calls[0].url, asset);
    EXPECT_EQ(waiter->calls[0].path, path);
    EXPECT_TRUE(waiter->calls[0].isSuccess);
    EXPECT_EQ(bdx::testing::readFile(path), "PNGBYTES");
    EXPECT_TRUE(manager()->attachmentRequests().empty()) << "a finished download leaves the lists";
    EXPECT_TRUE(manager()->servers()->serverRequests().empty()) << "downloads never enter the request list";
}

TEST_F(AssetDownloadTest, OneDownloadPerPathAndDelegate) {
    auto first = std::make_shared<AssetWaiter>();
    auto second = std::make_shared<AssetWaiter>();
    manager()->shouldDisableServerManager(true);  // keeps them in the lists without starting them
    manager()->loadAssetOfURL(url("/assets/c.png?size=1"), first);
    manager()->loadAssetOfURL(url("/assets/c.png?size=2"), first);
    EXPECT_EQ(manager()->attachmentRequests().size(), 1u) << "the same path for the same delegate";
    manager()->loadAssetOfURL(url("/assets/c.png"), second);
    EXPECT_EQ(manager()->attachmentRequests().size(), 2u) << "another delegate gets its own download";
    manager()->loadAssetOfURL(url("/assets/d.png"), first);
    EXPECT_EQ(manager()->attachmentRequests().size(), 3u);
    for (const auto& request : manager()->attachmentRequests()) {
        EXPECT_FALSE(request->isExecuting()) << "a disabled manager starts no download";
    }
}

TEST_F(AssetDownloadTest, AFailedDownloadTellsItsDelegateAtEachAttemptAndIsRetried) {
    collector->script("/api/sdk/v3/assets/e.png",
                      bdx::Value::parse(R"([{"status": 404, "body": "missing"}])"));
    auto waiter = std::make_shared<AssetWaiter>();
    manager()->loadAssetOfURL(url("/assets/e.png"), waiter);
    ASSERT_TRUE(pumpUntil([&] { return waiter->calls.size() == 1; }));
    EXPECT_FALSE(waiter->calls[0].isSuccess);
    ASSERT_EQ(manager()->attachmentRequests().size(), 1u) << "kept for the next attempt";
    EXPECT_EQ(manager()->attachmentRequests()[0]->failures(), 1);

    clock->advance(2);
    ASSERT_TRUE(pumpUntil([&] { return waiter->calls.size() == 2; }));
    EXPECT_TRUE(waiter->calls[1].isSuccess);
    EXPECT_TRUE(manager()->attachmentRequests().empty());
    EXPECT_EQ(received().size(), 2u);
}

}  // namespace
}  // namespace bdx::testing
