#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "foundation/Date.h"
#include "foundation/Error.h"
#include "persistence/BDXCoreDataPersistenceManager.h"
#include "persistence/BDXDALService.h"
#include "persistence/BDXLog.h"
#include "persistence/BDXLogLoggerContextProvider.h"
#include "testing/DispatchTesting.h"
#include "testing/SandboxTest.h"

namespace bdx::testing {

// The store manager over the test's sandbox, and a second connection to read what reached the file.
class StoreManagerTest : public SandboxTest {
  protected:
    static std::shared_ptr<BDXCoreDataPersistenceManager> manager() {
        return BDXCoreDataPersistenceManager::sharedManager();
    }

    // Starts the store and lets the whole chain run dry.
    static void openStore() {
        manager()->initializeCoreData();
        waitUntilIdle();
        ASSERT_TRUE(manager()->hasAddedPersistentStore());
    }

    static std::shared_ptr<BDXDALService> logService() {
        return BDXDALService::initWithContextProvider(std::make_shared<BDXLogLoggerContextProvider>());
    }

    static std::shared_ptr<BDXLog> insertLog(store::ManagedObjectContext& context, const std::string& message,
                                             const std::string& sessionId = "session", double date = 0) {
        auto log = std::dynamic_pointer_cast<BDXLog>(context.insertNewObjectForEntityForName("BrindlexLog"));
        EXPECT_TRUE(log) << "objects of the entity are instances of its class";
        if (log) {
            log->setMessage(message);
            log->setSessionId(sessionId);
            log->setDate(Date(date));
            log->setLevel("d");
        }
        return log;
    }

    // The messages of the log rows in the store file, read through a connection of its own.
    static std::multiset<std::string> messagesInFile() {
        auto coordinator = BDXCoreDataPersistenceManager::coordinator();
        Error error;
        EXPECT_TRUE(coordinator->addSQLiteStoreAtURL(manager()->storeURL(), {}, &error))
            << error.localizedDescription();
        auto context = store::ManagedObjectContext::initWithConcurrencyType(
            store::ManagedObjectContext::ConcurrencyType::PrivateQueue);
        context->setPersistentStoreCoordinator(coordinator);
        std::multiset<std::string> messages;
        for (const auto& object : context->executeFetchRequest(BDXLog::fetchRequest()))
            messages.insert(object->stringForKey("message").value_or("<absent>"));
        return messages;
    }

    // Waits for a real event of another thread, running the main queue meanwhile.
    static bool runMainQueueUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            runMainQueueUntilIdle();
            std::this_thread::yield();
        }
        return true;
    }
};

}  // namespace bdx::testing
