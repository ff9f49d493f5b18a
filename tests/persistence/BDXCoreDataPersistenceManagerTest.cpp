#include "persistence/BDXCoreDataPersistenceManager.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "Logging/BDXInspector.h"
#include "core/BDXIntializationManager.h"
#include "core/BDXOperation.h"
#include "foundation/DispatchQueue.h"
#include "foundation/NotificationCenter.h"
#include "foundation/Sandbox.h"
#include "persistence/BDXAnalytics.h"
#include "persistence/BDXAnalyticsContextProvider.h"
#include "persistence/BDXAnalyticsParam.h"
#include "persistence/BDXEventLog.h"
#include "persistence/BDXNetworkLog.h"
#include "platform/ui/Application.h"
#include "testing/ConsoleCapture.h"
#include "tests/persistence/StoreManagerTestSupport.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using bdx::Error;
using bdx::store::ManagedObjectContext;
using bdx::store::PersistentStoreCoordinator;
using Messages = std::multiset<std::string>;
using StoreManager = bdx::testing::StoreManagerTest;

constexpr const char* kSetupFailure = "Failed to initialize Brindlex's Core Data stack. Error";

// Writes a store holding one log line at `path` and closes it, so that nothing of it stays in a journal.
void writeStoreWithSentinel(const std::string& path,
                            std::shared_ptr<const bdx::store::ManagedObjectModel> model =
                                bdx::store::ManagedObjectModel::brindlexDataModel()) {
    auto coordinator = std::make_shared<PersistentStoreCoordinator>(std::move(model));
    ASSERT_TRUE(coordinator->addSQLiteStoreAtURL(path));
    auto context =
        ManagedObjectContext::initWithConcurrencyType(ManagedObjectContext::ConcurrencyType::PrivateQueue);
    context->setPersistentStoreCoordinator(coordinator);
    for (int i = 0; i < 300; ++i) {
        auto log = context->insertNewObjectForEntityForName("BrindlexLog");
        log->setString("message", i == 0 ? "sentinel" : std::string(200, 'x'));
        log->setString("sessionId", "old");
    }
    ASSERT_TRUE(context->save());
}

std::size_t lineCount(const bdx::testing::ConsoleCapture& console, const std::string& fragment) {
    std::size_t count = 0;
    for (const auto& line : console.lines(bdx::Console::Channel::StandardOutput))
        count += line.find(fragment) != std::string::npos;
    return count;
}

TEST_F(StoreManager, StoreFileOfOneHundredFiftyMebibytesIsDestroyedAndOneByteLessIsKept) {
    struct Case {
        std::uintmax_t size;
        bool kept;
    };
    for (const Case& c : {Case{157286400, false}, Case{157286399, true}}) {
        SCOPED_TRACE(c.size);
        relaunch();
        const std::string path = manager()->storeURL();
        PersistentStoreCoordinator::destroyPersistentStoreAtURL(path);
        writeStoreWithSentinel(path);
        fs::resize_file(path, c.size);
        EXPECT_EQ(!c.kept, manager()->shouldDeleteBrindlexSqlLiteFile(path));
        openStore();
        EXPECT_EQ(c.kept ? 1u : 0u, messagesInFile().count("sentinel"));
    }
}

TEST_F(StoreManager, StoreAtTheOldDocumentsLocationIsDestroyedEvenWithoutACurrentStore) {
    const std::string old = manager()->oldStoreURL();
    EXPECT_EQ((bdx::Sandbox::current().documents() / "BrindlexDataModel.sqlite").string(), old);
    EXPECT_EQ((bdx::Sandbox::current().library() / "BrindlexDataModel.sqlite").string(),
              manager()->storeURL());
    std::ofstream(old) << "old store";
    std::ofstream(old + "-wal") << "old journal";
    ASSERT_FALSE(fs::exists(manager()->storeURL()));
    openStore();
    EXPECT_FALSE(fs::exists(old));
    EXPECT_FALSE(fs::exists(old + "-wal"));
    EXPECT_TRUE(fs::exists(manager()->storeURL()));
}

TEST_F(StoreManager, SavesAreRefusedFromProtectedDataAvailableUntilItIsAboutToGo) {
    openStore();
    auto application = bdx::ui::Application::sharedApplication();
    auto main = manager()->managedObjectContext();
    application->protectedDataDidBecomeAvailable();
    insertLog(*main, "while unlocked");
    std::vector<Error> results;
    std::vector<std::thread::id> threads;
    manager()->saveWithCompletionHandler([&](const Error& error) {
        results.push_back(error);
        threads.push_back(std::this_thread::get_id());
    });
    bdx::testing::waitUntilIdle();
    ASSERT_EQ(1u, results.size());
    EXPECT_EQ("PersistentStore not found", results[0].domain());
    EXPECT_EQ(404, results[0].code());
    EXPECT_EQ(std::this_thread::get_id(), threads[0]) << "on the main queue, served by the test's thread";
    EXPECT_TRUE(main->hasChanges());
    EXPECT_EQ(0u, messagesInFile().count("while unlocked"));

    application->protectedDataWillBecomeUnavailable();
    bdx::testing::waitUntilIdle();
    EXPECT_FALSE(main->hasChanges());
    EXPECT_EQ(Messages{"while unlocked"}, messagesInFile());
}

TEST_F(StoreManager, WritesWhileTheStoreCannotOpenWaitInThePrivateContextAndReachTheFileOnceItOpens) {
    BDXInspector::overrideDebuggerAttached(true);
    bdx::testing::ConsoleCapture console;
    // A file where the Library directory belongs: every attempt fails until the test puts it right.
    const fs::path library = bdx::Sandbox::current().library();
    fs::remove_all(library);
    std::ofstream(library) << "not a directory";

    auto service = logService();
    std::vector<Error> writeResults;
    service->writeASync([](const auto& context) { insertLog(*context, "early async"); },
                        [&](const Error& error) { writeResults.push_back(error); });
    service->writeSync([](const auto& context) { insertLog(*context, "early sync"); });
    manager()->initializeCoreData();
    auto main = manager()->managedObjectContext();
    ASSERT_TRUE(main) << "the main context exists at once";
    insertLog(*main, "main context");
    std::vector<Error> saveResults;
    manager()->saveWithCompletionHandler([&](const Error& error) { saveResults.push_back(error); });

    // The host's work on the main queue goes on between the attempts.
    ASSERT_TRUE(runMainQueueUntil([&] {
        return saveResults.size() == 1 && writeResults.size() == 1 && lineCount(console, kSetupFailure) >= 3;
    }));
    EXPECT_TRUE(saveResults[0].isEmpty()) << saveResults[0].description();
    EXPECT_TRUE(writeResults[0].isEmpty()) << writeResults[0].description();
    EXPECT_FALSE(manager()->hasAddedPersistentStore());
    EXPECT_FALSE(BDXCoreDataPersistenceManager::isCoreDataInitialized());
    auto privateContext = manager()->privateContext();
    privateContext->performBlockAndWait([&] {
        EXPECT_TRUE(privateContext->hasChanges());
        EXPECT_EQ(3u, privateContext->executeFetchRequest(BDXLog::fetchRequest()).size());
    });

    fs::remove(library);
    fs::create_directories(library);
    ASSERT_TRUE(runMainQueueUntil([&] { return manager()->hasAddedPersistentStore(); }));
    bdx::testing::waitUntilIdle();
    EXPECT_TRUE(BDXCoreDataPersistenceManager::isCoreDataInitialized());
    EXPECT_EQ((Messages{"early async", "early sync", "main context"}), messagesInFile());
}

TEST_F(StoreManager, DamagedStoreFileIsDestroyedRebuiltAndLoggedWhileTheMainQueueServes) {
    struct Case {
        const char* what;
        void (*damage)(const std::string& path);
    };
    const Case cases[] = {
        {"garbage", [](const std::string& path) { std::ofstream(path) << std::string(8192, 'g'); }},
        {"truncated",
         [](const std::string& path) {
             writeStoreWithSentinel(path);
             fs::resize_file(path, fs::file_size(path) / 2);
         }},
        {"directory", [](const std::string& path) { fs::create_directories(path + "/inside"); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        relaunch();
        BDXInspector::overrideDebuggerAttached(true);
        bdx::testing::ConsoleCapture console;
        const std::string path = manager()->storeURL();
        PersistentStoreCoordinator::destroyPersistentStoreAtURL(path);
        c.damage(path);
        logService()->writeASync([](const auto& context) { insertLog(*context, "logged at start"); },
                                 nullptr);
        manager()->initializeCoreData();
        // Queued before the failed attempt hands its retry to the main queue, so it runs first.
        bool served = false;
        bdx::DispatchQueue::main()->async([&] {
            served = true;
            EXPECT_FALSE(manager()->hasAddedPersistentStore());
        });
        bdx::testing::waitUntilIdle();
        EXPECT_TRUE(served);
        EXPECT_TRUE(manager()->hasAddedPersistentStore());
        EXPECT_EQ(1u, lineCount(console, kSetupFailure));
        EXPECT_TRUE(fs::is_regular_file(path));
        EXPECT_EQ(Messages{"logged at start"}, messagesInFile());
    }
}

TEST_F(StoreManager, RelaunchReadsBackEveryRowAndTheParametersOfACall) {
    openStore();
    int completed = 0;
    logService()->writeASync(
        [](const auto& context) {
            insertLog(*context, "first", "s", 1);
            insertLog(*context, "second", "s", 2);
            auto network = std::dynamic_pointer_cast<BDXNetworkLog>(
                context->insertNewObjectForEntityForName(BDXNetworkLog::entityName()));
            network->setHeaders(bdx::Value{{"Accept", "application/json"}});
            network->setStatusCode(201);
            network->setContentType(5);
        },
        [&](const Error&) { ++completed; });
    BDXDALService::initWithContextProvider(std::make_shared<BDXAnalyticsContextProvider>())
        ->writeASync(
            [](const auto& context) {
                auto call = std::dynamic_pointer_cast<BDXAnalytics>(
                    context->insertNewObjectForEntityForName(BDXAnalytics::entityName()));
                call->setMethodLog("setUserData:");
                for (const char* name : {"a", "b"}) {
                    auto param = std::dynamic_pointer_cast<BDXAnalyticsParam>(
                        context->insertNewObjectForEntityForName(BDXAnalyticsParam::entityName()));
                    param->setName(std::string(name));
                    call->addParamObject(param);
                }
            },
            [&](const Error&) { ++completed; });
    bdx::testing::waitUntilIdle();
    ASSERT_EQ(2, completed);

    relaunch();
    openStore();
    EXPECT_EQ((Messages{"first", "second"}), messagesInFile());
    logService()->readSync([](const auto& context) {
        auto network = context->executeFetchRequest(BDXNetworkLog::fetchRequest());
        ASSERT_EQ(1u, network.size());
        auto log = std::dynamic_pointer_cast<BDXNetworkLog>(network[0]);
        EXPECT_EQ(bdx::Value({{"Accept", "application/json"}}), log->headers());
        EXPECT_EQ(201, log->statusCode());
        EXPECT_EQ(0u, log->contentType()) << "kept on the object in memory only";
        auto calls = context->executeFetchRequest(BDXAnalytics::fetchRequestWithMethodName("setUserData:"));
        ASSERT_EQ(1u, calls.size());
        auto call = std::dynamic_pointer_cast<BDXAnalytics>(calls[0]);
        std::set<std::string> names;
        for (const auto& param : call->param()) {
            names.insert(param->name().value_or(""));
            EXPECT_EQ(call, param->analytic());
        }
        EXPECT_EQ((std::set<std::string>{"a", "b"}), names);
    });
}

TEST_F(StoreManager, StoreOfAnOlderModelOpensWithItsRows) {
    // The same model as an earlier version had it: log lines without their level.
    auto older = std::make_shared<bdx::store::ManagedObjectModel>("BrindlexDataModel");
    using Kind = bdx::store::PropertyDescription::Kind;
    const auto current = bdx::store::ManagedObjectModel::brindlexDataModel();
    for (const auto& entity : current->entities()) {
        auto& copy = older->addEntity(entity.name());
        for (const auto& p : entity.properties()) {
            if (entity.name() == "BrindlexLog" && p.name == "level")
                continue;
            if (p.kind == Kind::Attribute)
                copy.addAttribute(p.name, p.attributeType);
            else if (p.kind == Kind::ToOne)
                copy.addToOne(p.name, p.destinationEntity, p.inverseName);
            else
                copy.addToMany(p.name, p.destinationEntity, p.inverseName);
        }
    }
    writeStoreWithSentinel(manager()->storeURL(), older);
    openStore();
    logService()->writeSync([](const auto& context) { insertLog(*context, "new"); });
    bdx::testing::waitUntilIdle();
    auto messages = messagesInFile();
    EXPECT_EQ(301u, messages.size());
    EXPECT_EQ(1u, messages.count("sentinel"));
    EXPECT_EQ(1u, messages.count("new"));
    logService()->readSync([](const auto& context) {
        auto newest = context->executeFetchRequest(BDXLog::logsFetchRequestWithMaxCount(1, "session"));
        ASSERT_EQ(1u, newest.size());
        EXPECT_EQ("d", std::dynamic_pointer_cast<BDXLog>(newest[0])->level())
            << "the added column is written";
    });
}

TEST_F(StoreManager, StartupOperationFinishesBeforeTheStoreOpensAndTheStoreAnnouncesItself) {
    std::atomic<int> announced{0};
    auto center = bdx::NotificationCenter::defaultCenter();
    auto token = center->addObserver(BDXCoreDataPersistenceManager::didAddPersistentStoreNotification(),
                                     nullptr, [&](const bdx::Notification&) { ++announced; });
    auto first = manager();
    auto operation = first->initializationOperation();
    EXPECT_EQ(operation, first->initializationOperation());
    BDXIntializationManager::getInstance()->addOperation(operation);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!operation->isFinished() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    ASSERT_TRUE(operation->isFinished());
    EXPECT_FALSE(first->managedObjectContext()) << "the store is set up from the main queue, not yet served";
    EXPECT_FALSE(first->hasAddedPersistentStore());

    bdx::testing::waitUntilIdle();
    EXPECT_TRUE(first->hasAddedPersistentStore());
    EXPECT_TRUE(BDXCoreDataPersistenceManager::isCoreDataInitialized());
    EXPECT_EQ(1, announced.load());
    auto main = first->managedObjectContext();
    first->initializeCoreData();
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(main, first->managedObjectContext());
    EXPECT_EQ(1, announced.load()) << "a second initializeCoreData does nothing";

    BDXCoreDataPersistenceManager::destroy();
    auto second = manager();
    EXPECT_NE(first, second);
    EXPECT_TRUE(BDXCoreDataPersistenceManager::isCoreDataInitialized());
    EXPECT_FALSE(second->hasAddedPersistentStore());
    EXPECT_NE(operation, second->initializationOperation());
    center->removeObserver(token);
}

TEST_F(StoreManager, StateChangeSavesOnlyWhenItsBackgroundTaskExpires) {
    openStore();
    auto application = bdx::ui::Application::sharedApplication();
    insertLog(*manager()->managedObjectContext(), "at state change");
    // What a host that wants these saves installs; the library itself installs none.
    auto reactor = std::make_shared<BDXAppStateReactor>();
    reactor->setDelegate(manager());
    manager()->setAppStateReactor(reactor);
    application->enterBackground();
    const auto task = manager()->backgroundTask();
    ASSERT_NE(bdx::ui::UIBackgroundTaskInvalid, task);
    EXPECT_TRUE(application->isBackgroundTaskRunning(task));
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(0u, messagesInFile().size()) << "the block is the task's expiration handler, not its body";

    application->expireBackgroundTasks();
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(Messages{"at state change"}, messagesInFile());
    EXPECT_EQ(bdx::ui::UIBackgroundTaskInvalid, manager()->backgroundTask());
    EXPECT_FALSE(application->isBackgroundTaskRunning(task));
}

TEST_F(StoreManager, BulkDeleteRemovesWhatEveryRequestReturnsAndReachesTheFile) {
    openStore();
    logService()->writeSync([](const auto& context) {
        insertLog(*context, "a", "s1");
        insertLog(*context, "b", "s2");
        insertLog(*context, "c", "s3");
    });
    bdx::testing::waitUntilIdle();
    auto context = std::make_shared<BDXLogLoggerContextProvider>()->newContext();
    manager()->removeManagedObjectWithFetchRequests(
        {BDXLog::logsFetchRequestWithMaxCount(10, "s1"), BDXEventLog::eventlogsFetchRequest(),
         BDXLog::logsFetchRequestWithMaxCount(10, "s2")},
        context);
    EXPECT_FALSE(context->hasChanges()) << "the given context is saved before the call returns";
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(Messages{"c"}, messagesInFile());
}

// Not a test of its own: the child process of the test below, which writes log lines without end and
// reports each one whose completion ran, until it is killed.
TEST_F(StoreManager, DISABLED_ChildWritesUntilKilled) {
    const char* root = std::getenv("BDX_STORE_CHILD_ROOT");
    const char* acks = std::getenv("BDX_STORE_CHILD_ACKS");
    ASSERT_TRUE(root && acks);
    bdx::Sandbox::setRoot(root);
    const int fd = std::atoi(acks);
    openStore();
    auto service = logService();
    constexpr std::uint32_t kBatch = 16;
    for (std::uint32_t first = 0;; first += kBatch) {
        std::uint32_t completed = 0;
        for (std::uint32_t n = first; n < first + kBatch; ++n) {
            service->writeASync([n](const auto& context) { insertLog(*context, std::to_string(n)); },
                                [&completed, fd, n](const Error& error) {
                                    ++completed;
                                    if (error.isEmpty() && ::write(fd, &n, sizeof n) != sizeof n)
                                        std::_Exit(3);
                                });
        }
        ASSERT_TRUE(runMainQueueUntil([&] { return completed == kBatch; }));
    }
}

TEST_F(StoreManager, KilledWriterLeavesAStoreThatOpensWithEverySaveThatReturned) {
    int acks[2];
    ASSERT_EQ(0, ::pipe(acks));
    std::string root = "BDX_STORE_CHILD_ROOT=" + sandboxRoot().string();
    std::string ackVariable = "BDX_STORE_CHILD_ACKS=" + std::to_string(acks[1]);
    std::vector<char*> envp{root.data(), ackVariable.data()};
    for (char** entry = environ; *entry; ++entry)
        envp.push_back(*entry);
    envp.push_back(nullptr);
    std::string self = fs::read_symlink("/proc/self/exe").string();
    std::string filter = "--gtest_filter=StoreManager.DISABLED_ChildWritesUntilKilled";
    std::string disabled = "--gtest_also_run_disabled_tests";
    char* argv[] = {self.data(), filter.data(), disabled.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, acks[0]);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    ASSERT_EQ(0, posix_spawn(&child, self.c_str(), &actions, nullptr, argv, envp.data()));
    posix_spawn_file_actions_destroy(&actions);
    ::close(acks[1]);

    std::set<std::uint32_t> returned;
    std::uint32_t n = 0;
    while (returned.size() < 200 && ::read(acks[0], &n, sizeof n) == static_cast<ssize_t>(sizeof n))
        returned.insert(n);
    ASSERT_EQ(0, ::kill(child, SIGKILL));
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself before the kill";
    while (::read(acks[0], &n, sizeof n) == static_cast<ssize_t>(sizeof n))
        returned.insert(n);  // saves that returned just before the kill
    ::close(acks[0]);
    ASSERT_GE(returned.size(), 200u);

    openStore();
    const auto stored = messagesInFile();
    for (auto value : returned)
        EXPECT_EQ(1u, stored.count(std::to_string(value))) << "save " << value;
}

}  // namespace
