#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Error.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "testing/SandboxTest.h"

namespace bdx::store {

// A store file in the test's sandbox and the chains over it.
class StoreTest : public bdx::testing::SandboxTest {
  protected:
    std::string storePath() const { return (sandboxRoot() / "BrindlexDataModel.sqlite").string(); }

    static std::shared_ptr<PersistentStoreCoordinator> openStore(
        const std::string& path,
        std::shared_ptr<const ManagedObjectModel> model = ManagedObjectModel::brindlexDataModel()) {
        auto coordinator = std::make_shared<PersistentStoreCoordinator>(std::move(model));
        Error error;
        EXPECT_TRUE(coordinator->addSQLiteStoreAtURL(path, {}, &error)) << error.localizedDescription();
        return coordinator;
    }

    static std::shared_ptr<ManagedObjectContext> rootContext(
        std::shared_ptr<PersistentStoreCoordinator> coordinator) {
        auto context = ManagedObjectContext::initWithConcurrencyType(
            ManagedObjectContext::ConcurrencyType::PrivateQueue);
        context->setPersistentStoreCoordinator(std::move(coordinator));
        return context;
    }

    static std::shared_ptr<ManagedObjectContext> childOf(std::shared_ptr<ManagedObjectContext> parent) {
        auto context = ManagedObjectContext::initWithConcurrencyType(
            ManagedObjectContext::ConcurrencyType::PrivateQueue);
        context->setParentContext(std::move(parent));
        return context;
    }

    // The string attribute `key` of every object the request returns, in order.
    static std::vector<std::string> strings(ManagedObjectContext& context, const FetchRequest& request,
                                            const std::string& key) {
        std::vector<std::string> out;
        for (const auto& object : context.executeFetchRequest(request))
            out.push_back(object->stringForKey(key).value_or("<absent>"));
        return out;
    }

    static std::shared_ptr<ManagedObject> insertLog(ManagedObjectContext& context, const std::string& message,
                                                    const std::string& sessionId, double date,
                                                    const std::string& level = "debug") {
        auto log = context.insertNewObjectForEntityForName("BrindlexLog");
        log->setString("message", message);
        log->setString("sessionId", sessionId);
        log->setDate("date", Date(date));
        log->setString("level", level);
        return log;
    }
};

}  // namespace bdx::store
