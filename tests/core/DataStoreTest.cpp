#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "Logging/BDXInspector.h"
#include "core/BDXDataStore.h"
#include "core/BDXDefaults.h"
#include "core/BDXDefaultsKeys.h"
#include "core/BDXUser.h"
#include "foundation/Sandbox.h"
#include "foundation/UserDefaults.h"
#include "platform/host/Info.h"
#include "testing/ConsoleCapture.h"
#include "tests/core/CoreTestSupport.h"

namespace {

class BDXDataStoreTest : public bdx::testing::CoreTest {
  protected:
    void SetUp() override {
        CoreTest::SetUp();
        BDXInspector::overrideDebuggerAttached(true);
        store = BDXDataStore::getInstance();
    }

    // A file of `size` bytes in the test's sandbox.
    std::string fileOfSize(const std::string& name, std::size_t size) {
        const auto path = sandboxRoot() / name;
        std::ofstream(path, std::ios::binary) << std::string(size, 'x');
        return path.string();
    }

    std::shared_ptr<BDXDataStore> store;
};

constexpr const char* kRefused = "[Brindlex] File is larger than 5MB or it's path is invalid.";

}  // namespace

TEST_F(BDXDataStoreTest, AHostsStartIsReadBackAfterARelaunch) {
    auto info = std::make_shared<bdx::host::Info>();
    info->setBundleIdentifier("com.example.host");
    info->setVendorIdentifier("11111111-2222-4333-8444-555555555555");
    bdx::host::Info::setShared(info);

    EXPECT_EQ(store->appToken(), "");
    store->setAppToken("token-123");
    BDXUser().identifyUserWithEmail("Jane@Example.com", "Jane");
    BDXDefaults::getInstance()->setIssueTags(std::vector<std::string>{"beta"});
    const std::string identifier = BDXInspector::getUUID();

    relaunch();
    bdx::host::Info::setShared(std::make_shared<bdx::host::Info>());  // a device identity made anew
    EXPECT_EQ(BDXDataStore::getInstance()->appToken(), "token-123");
    auto defaults = BDXDefaults::getInstance();
    EXPECT_EQ(defaults->savedUUID(), identifier);
    EXPECT_EQ(BDXInspector::getUUID(), identifier);
    EXPECT_EQ(defaults->email(), "jane@example.com");
    EXPECT_EQ(defaults->identifiedEmail(), "jane@example.com");
    EXPECT_EQ(defaults->name(), "Jane");
    EXPECT_EQ(defaults->issueTags(), std::vector<std::string>{"beta"});
    bdx::host::Info::destroy();
}

TEST_F(BDXDataStoreTest, TokenIsReadFromTheStoreOnceAndWrittenThrough) {
    auto defaults = bdx::UserDefaults::standardUserDefaults();
    defaults->setString("stored", kBDXDefaultsKeyAppToken);
    EXPECT_EQ(store->appToken(), "stored");
    defaults->setString("changed behind its back", kBDXDefaultsKeyAppToken);
    EXPECT_EQ(store->appToken(), "stored");
    store->setAppToken("new");
    EXPECT_EQ(defaults->stringForKey(kBDXDefaultsKeyAppToken), "new");
    EXPECT_EQ(store->appToken(), "new");
}

TEST_F(BDXDataStoreTest, AttachmentsUpToFiveMebibytesAreAccepted) {
    const auto exact = fileOfSize("exact.bin", 5242880);
    const auto over = fileOfSize("over.bin", 5242881);
    const auto empty = fileOfSize("empty.bin", 0);
    EXPECT_TRUE(store->isFileOfValidSize(empty));
    EXPECT_FALSE(store->isFileOfValidSize(sandboxRoot().string())) << "a directory is no file";

    {
        bdx::testing::ConsoleCapture console;
        store->addFileAttachment(exact);
        EXPECT_FALSE(console.contains(bdx::Console::Channel::StandardOutput, kRefused));
    }
    for (const auto& refused : {over, (sandboxRoot() / "missing.bin").string()}) {
        bdx::testing::ConsoleCapture console;
        store->addFileAttachment(refused);
        EXPECT_TRUE(console.contains(bdx::Console::Channel::StandardOutput, kRefused)) << refused;
    }
    EXPECT_EQ(store->fileAttachments(), std::vector<std::string>{exact});
}

TEST_F(BDXDataStoreTest, TheThreeNewestAttachmentsAreKept) {
    const auto a = fileOfSize("a.txt", 1), b = fileOfSize("b.txt", 1), c = fileOfSize("c.txt", 1),
               d = fileOfSize("d.txt", 1);
    store->addFileAttachment(a);
    store->addFileAttachment(b);
    store->addFileAttachment(c);
    EXPECT_EQ(store->fileAttachments(), (std::vector<std::string>{a, b, c}));
    store->addFileAttachment(d);
    EXPECT_EQ(store->fileAttachments(), (std::vector<std::string>{b, c, d}));
    store->clearAllFileAttachments();
    EXPECT_TRUE(store->fileAttachments().empty());
}

TEST_F(BDXDataStoreTest, SingleFileLocationReplacesTheListUnlessEmpty) {
    const auto a = fileOfSize("a.txt", 1), b = fileOfSize("b.txt", 1), c = fileOfSize("c.txt", 1);
    store->addFileAttachment(a);
    store->addFileAttachment(b);
    store->setFileLocation("");
    EXPECT_EQ(store->fileLocation(), "");
    EXPECT_EQ(store->fileAttachments(), (std::vector<std::string>{a, b}));
    store->setFileLocation(c);
    EXPECT_EQ(store->fileLocation(), c);
    EXPECT_EQ(store->fileAttachments(), std::vector<std::string>{c});
}

TEST_F(BDXDataStoreTest, EmptyAttachmentDataIsRefused) {
    for (const auto& data : {std::optional<bdx::Data>(), std::optional<bdx::Data>(bdx::Data{})}) {
        bdx::testing::ConsoleCapture console;
        store->addFileAttachmentWithData(data);
        EXPECT_TRUE(console.contains(bdx::Console::Channel::StandardOutput,
                                     "[Brindlex] File attachment data is empty or corrupted."));
    }
    EXPECT_TRUE(store->fileAttachments().empty());
}

TEST_F(BDXDataStoreTest, AttachmentDataIsWrittenAsTextInTheTemporaryDirectory) {
    const std::string text = "host log\nsecond line";
    store->addFileAttachmentWithData(bdx::Data(text.begin(), text.end()));
    ASSERT_EQ(store->fileAttachments().size(), 1u);
    const std::filesystem::path path = store->fileAttachments()[0];
    EXPECT_EQ(path.parent_path(), bdx::Sandbox::current().library() / "BDXTemp");
    EXPECT_EQ(path.extension(), ".txt");
    std::ifstream in(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()), text);
}

TEST_F(BDXDataStoreTest, PreSendingHookRunsBeforeTheCompletionWhereAsked) {
    std::vector<std::string> order;
    store->excutePreSendingBlockSynchronized(true, [&] { order.push_back("completion without hook"); });
    store->setPreSendingBlock([&] { order.push_back("hook"); });
    const auto caller = std::this_thread::get_id();
    store->excutePreSendingBlockSynchronized(true, [&] {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        order.push_back("completion");
    });
    EXPECT_EQ(order, (std::vector<std::string>{"completion without hook", "hook", "completion"}));

    std::promise<std::string> label;
    order.clear();
    store->setPreSendingBlock([&] { order.push_back("queued hook"); });
    store->excutePreSendingBlockSynchronized(false, [&] {
        order.push_back("queued completion");
        label.set_value(bdx::DispatchQueue::currentLabel());
    });
    EXPECT_EQ(label.get_future().get(), "com.BDX.PreSendingHandlerQueue");
    EXPECT_EQ(order, (std::vector<std::string>{"queued hook", "queued completion"}));
}

TEST_F(BDXDataStoreTest, FlagsAndTheViewHierarchyLog) {
    EXPECT_FALSE(store->wasBrindlexInitialized());
    store->brindlexInitialized();
    EXPECT_TRUE(store->wasBrindlexInitialized());
    EXPECT_EQ(store->viewHierarchyLog(), bdx::Value::array());
    store->setViewHierarchyLog(bdx::Value::array({{{"view", "UIWindow"}}}));
    store->clear();
    EXPECT_EQ(store->viewHierarchyLog(), bdx::Value::array());

    BDXDataStore::destroy();
    auto fresh = BDXDataStore::getInstance();
    EXPECT_NE(fresh, store);
    EXPECT_FALSE(fresh->wasBrindlexInitialized());
}
