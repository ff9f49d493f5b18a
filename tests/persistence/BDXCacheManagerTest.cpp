#include "persistence/BDXCacheManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <thread>

#include "core/BDXIntializationManager.h"
#include "core/BDXOperation.h"
#include "persistence/BDXUUIDMigration.h"
#include "persistence/BDXUUIDMigrationCache.h"
#include "testing/DispatchTesting.h"
#include "tests/persistence/CacheTestSupport.h"

using bdx::testing::identifiers;
using bdx::testing::NoteCache;
using bdx::testing::NoteModel;
using Names = std::vector<std::string>;

namespace {

using CacheManager = bdx::testing::CacheTest;

// Registers `cache` for notes; the future is ready once the handler ran, with the thread it ran on.
std::future<std::thread::id> registerNotes(const std::shared_ptr<BDXCache>& cache) {
    auto handled = std::make_shared<std::promise<std::thread::id>>();
    BDXCacheManager::getInstance()->registerCache(
        cache, "NoteModel", [handled] { handled->set_value(std::this_thread::get_id()); });
    return handled->get_future();
}

}  // namespace

TEST_F(CacheManager, RegistrationWaitsForTheStartupReadAndASecondRegistrationTakesOver) {
    auto saved = std::make_shared<NoteCache>(true);
    saved->append({NoteModel::make("from-last-run")});
    saved->persistAll();
    auto manager = BDXCacheManager::getInstance();
    manager->saveCacheModel(NoteModel::make("no-cache-yet"));
    EXPECT_EQ(1u, saved->getCache().size()) << "a class without a cache saves nowhere";

    auto first = std::make_shared<NoteCache>(true);
    auto registered = registerNotes(first);
    bdx::testing::waitUntilIdle();  // every queue ran dry, and still the registration waits
    EXPECT_EQ(std::future_status::timeout, registered.wait_for(std::chrono::seconds(0)));
    EXPECT_EQ(nullptr, manager->getCacheWithClass("NoteModel"));

    BDXIntializationManager::getInstance()->addOperation(manager->initializationOperation());
    ASSERT_EQ(std::future_status::ready, registered.wait_for(std::chrono::seconds(10)));
    EXPECT_NE(std::this_thread::get_id(), registered.get()) << "the handler runs on the operation's thread";
    EXPECT_EQ(first, manager->getCacheWithClass("NoteModel"));
    EXPECT_EQ(Names{"from-last-run"}, identifiers(first->getAllObjects()));
    EXPECT_EQ(Names{"from-last-run"}, bdx::testing::sentNotes());

    auto second = std::make_shared<NoteCache>(true);
    ASSERT_EQ(std::future_status::ready, registerNotes(second).wait_for(std::chrono::seconds(10)));
    EXPECT_EQ(second, manager->getCacheWithClass("NoteModel"));
    auto note = NoteModel::make("n", "draft");
    note->save();
    note->text_ = "final";
    note->save();
    EXPECT_FALSE(first->contains(note)) << "the earlier cache no longer saves";
    // The second cache read the same file at its registration.
    ASSERT_EQ((Names{"from-last-run", "n"}), identifiers(second->getCache())) << "saved once";
    EXPECT_EQ("final", std::dynamic_pointer_cast<NoteModel>(second->getCache()[1])->text_)
        << "new state written";
    note->remove();
    EXPECT_EQ(Names{"from-last-run"}, identifiers(second->getCache()));
}

TEST_F(CacheManager, StartupRestoresTheMigrationsAndFinishesBeforeTheySend) {
    auto migrations = std::make_shared<BDXUUIDMigrationCache>();
    migrations->append({BDXUUIDMigration::initWithOldUUID("old", "new", "a@b.c", "A")});
    migrations->forcePersistAll();
    relaunch();

    auto manager = BDXCacheManager::getInstance();
    auto operation = manager->initializationOperation();
    bool finishedBeforeSend = false;
    operation->setCompeltionBlock(
        [&] { finishedBeforeSend = !manager->getCacheWithClass("BDXUUIDMigration")->isSent(); });
    operation->start();
    EXPECT_TRUE(operation->isFinished());
    EXPECT_TRUE(finishedBeforeSend);
    auto restored = manager->getCacheWithClass("BDXUUIDMigration")->getAllObjects();
    ASSERT_EQ(1u, restored.size());
    auto migration = std::dynamic_pointer_cast<BDXUUIDMigration>(restored[0]);
    ASSERT_TRUE(migration);
    EXPECT_EQ((Names{"old", "new", "a@b.c", "A"}),
              (Names{migration->oldUUID(), migration->theNewUUID(), migration->theNewIdentifiedEmail(),
                     migration->theNewName()}));
}
