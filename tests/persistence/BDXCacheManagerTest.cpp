#include "persistence/BDXCacheManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "core/BDXIntializationManager.h"
#include "core/BDXOperation.h"
#include "foundation/OperationQueue.h"
#include "persistence/BDXUUIDMigration.h"
#include "persistence/BDXUUIDMigrationCache.h"
#include "testing/DispatchTesting.h"
#include "testing/SandboxTest.h"
#include "tests/persistence/CacheTestSupport.h"

using bdx::testing::identifiers;
using bdx::testing::NoteCache;
using bdx::testing::NoteModel;
using bdx::testing::SendJournal;

namespace {

constexpr auto kGenerous = std::chrono::seconds(10);

class CacheManager : public bdx::testing::SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        bdx::ClassRegistry::registerClass<NoteModel>();
        SendJournal::clear();
    }
    void TearDown() override {
        bdx::ClassRegistry::unregisterClass("NoteModel");
        SandboxTest::TearDown();
    }

    // Registers `cache` for notes; the future is ready once the handler ran.
    static std::future<std::thread::id> registerNotes(const std::shared_ptr<BDXCache>& cache) {
        auto handled = std::make_shared<std::promise<std::thread::id>>();
        BDXCacheManager::getInstance()->registerCache(
            cache, "NoteModel", [handled] { handled->set_value(std::this_thread::get_id()); });
        return handled->get_future();
    }
    // Runs the start-up step as the public layer does, on the start-up queue.
    static void runStartup() {
        auto operation = BDXCacheManager::getInstance()->initializationOperation();
        BDXIntializationManager::getInstance()->addOperation(operation);
        operation->waitUntilFinished();
    }
};

}  // namespace

TEST_F(CacheManager, RegistrationWaitsForTheStartupReadAndASecondRegistrationTakesOver) {
    {
        auto previous = std::make_shared<NoteCache>(true);
        previous->append({NoteModel::make("from-last-run")});
        previous->persistAll();
    }
    auto manager = BDXCacheManager::getInstance();
    auto first = std::make_shared<NoteCache>(true);
    auto registered = registerNotes(first);
    // Every queue has run dry: without the start-up step the registration has still not run.
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(std::future_status::timeout, registered.wait_for(std::chrono::seconds(0)));
    EXPECT_EQ(nullptr, manager->getCacheWithClass("NoteModel"));
    EXPECT_TRUE(SendJournal::sent().empty());

    runStartup();
    ASSERT_EQ(std::future_status::ready, registered.wait_for(kGenerous));
    EXPECT_NE(std::this_thread::get_id(), registered.get()) << "the handler runs on the operation's thread";
    EXPECT_EQ(first, manager->getCacheWithClass("NoteModel"));
    EXPECT_EQ(std::vector<std::string>{"from-last-run"}, identifiers(first->getAllObjects()));
    EXPECT_EQ(std::vector<std::string>{"from-last-run"}, SendJournal::sent());

    auto second = std::make_shared<NoteCache>(true);
    auto takenOver = registerNotes(second);
    ASSERT_EQ(std::future_status::ready, takenOver.wait_for(kGenerous));
    EXPECT_EQ(second, manager->getCacheWithClass("NoteModel"));

    auto note = NoteModel::make("new");
    note->save();
    EXPECT_TRUE(second->contains(note));
    EXPECT_FALSE(first->contains(note)) << "the earlier cache no longer saves";
    second->sendAll();
    first->sendAll();
    EXPECT_EQ((std::vector<std::string>{"from-last-run", "from-last-run"}), SendJournal::sent())
        << "each cache sends once, and only what it held when it was read";
}

TEST_F(CacheManager, SavingAHeldModelKeepsOneCopyAndWritesItsNewState) {
    auto manager = BDXCacheManager::getInstance();
    auto cache = std::make_shared<NoteCache>(true);
    // No cache for the class yet: the model is not saved anywhere.
    manager->saveCacheModel(NoteModel::make("unsaved"));
    EXPECT_FALSE(std::filesystem::exists(cache->cacheDiskPath()));
    auto registered = registerNotes(cache);
    runStartup();
    ASSERT_EQ(std::future_status::ready, registered.wait_for(kGenerous));

    auto note = NoteModel::make("n", "draft");
    manager->saveCacheModel(note);
    note->setText("final");
    manager->saveCacheModel(note);
    ASSERT_EQ(1u, cache->getAllObjects().size());
    auto stored = std::dynamic_pointer_cast<NoteModel>(cache->getCache().at(0));
    ASSERT_TRUE(stored);
    EXPECT_EQ("final", stored->text());

    manager->removeCacheModel(note);
    EXPECT_TRUE(cache->getCache().empty());
}

TEST_F(CacheManager, StartupFinishesAfterTheReadWhileSendsMayStillRun) {
    {
        auto migrations = std::make_shared<BDXUUIDMigrationCache>();
        migrations->append({BDXUUIDMigration::initWithOldUUID("old", "new", "a@b.c", "A")});
        migrations->forcePersistAll();
    }
    relaunch();
    auto manager = BDXCacheManager::getInstance();
    auto operation = manager->initializationOperation();
    EXPECT_EQ(operation, manager->initializationOperation()) << "made once";
    bool finishedBeforeSend = false;
    operation->setCompeltionBlock(
        [&] { finishedBeforeSend = !manager->getCacheWithClass("BDXUUIDMigration")->isSent(); });
    operation->start();
    EXPECT_TRUE(operation->isFinished());
    EXPECT_TRUE(finishedBeforeSend);
    auto migrations = manager->getCacheWithClass("BDXUUIDMigration");
    ASSERT_EQ(1u, migrations->getAllObjects().size());
    auto restored = std::dynamic_pointer_cast<BDXUUIDMigration>(migrations->getAllObjects()[0]);
    ASSERT_TRUE(restored);
    EXPECT_EQ("old", restored->oldUUID());
    EXPECT_EQ("new", restored->theNewUUID());
    EXPECT_EQ("a@b.c", restored->theNewIdentifiedEmail());
    EXPECT_EQ("A", restored->theNewName());
    EXPECT_TRUE(migrations->isSent());
}
