#include <atomic>
#include <thread>

#include "foundation/DispatchQueue.h"
#include "testing/DispatchTesting.h"
#include "tests/store/StoreTestSupport.h"

namespace bdx::store {
namespace {

using ContextTest = StoreTest;

FetchRequest allLogs() {
    FetchRequest request("BrindlexLog");
    request.sortDescriptors = {{"message", true}};
    return request;
}

TEST_F(ContextTest, ChildSeesItsUnsavedInsertAndDeleteAndItsParentOnlyAfterSave) {
    auto coordinator = openStore(storePath());
    auto root = rootContext(coordinator);
    insertLog(*root, "a", "s", 1);
    insertLog(*root, "b", "s", 2);
    ASSERT_TRUE(root->save());

    auto child = childOf(root);
    auto a = child->executeFetchRequest(allLogs()).front();
    child->deleteObject(a);
    insertLog(*child, "c", "s", 3);
    EXPECT_TRUE(child->hasChanges());
    EXPECT_TRUE(a->isDeleted());
    EXPECT_EQ(strings(*child, allLogs(), "message"), (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(strings(*root, allLogs(), "message"), (std::vector<std::string>{"a", "b"}));

    // A grandchild reads through both levels.
    auto grandchild = childOf(child);
    insertLog(*grandchild, "d", "s", 4);
    EXPECT_EQ(strings(*grandchild, allLogs(), "message"), (std::vector<std::string>{"b", "c", "d"}));

    ASSERT_TRUE(child->save());
    EXPECT_FALSE(child->hasChanges());
    EXPECT_TRUE(root->hasChanges());
    EXPECT_EQ(strings(*root, allLogs(), "message"), (std::vector<std::string>{"b", "c"}));
    // Not in the file until the root saves.
    auto reader = rootContext(coordinator);
    EXPECT_EQ(strings(*reader, allLogs(), "message"), (std::vector<std::string>{"a", "b"}));
    ASSERT_TRUE(root->save());
    EXPECT_EQ(strings(*reader, allLogs(), "message"), (std::vector<std::string>{"b", "c"}));
}

TEST_F(ContextTest, AnUpdateInAChildMovesTheObjectInItsOwnFetchOnly) {
    auto root = rootContext(openStore(storePath()));
    insertLog(*root, "x", "old", 1);
    ASSERT_TRUE(root->save());
    auto child = childOf(root);
    FetchRequest bySession("BrindlexLog");
    bySession.predicate = Predicate::equal("sessionId", std::string("new"));
    child->executeFetchRequest(FetchRequest("BrindlexLog")).front()->setString("sessionId", "new");
    EXPECT_EQ(child->executeFetchRequest(bySession).size(), 1u);
    EXPECT_EQ(root->executeFetchRequest(bySession).size(), 0u);
    ASSERT_TRUE(child->save());
    ASSERT_TRUE(root->save());
    EXPECT_EQ(rootContext(openStore(storePath()))->executeFetchRequest(bySession).size(), 1u);
}

// Each request runs twice: over rows saved to the file (SQLite filters and orders) and over the same rows
// unsaved in a child (the context filters and orders); both must answer alike.
TEST_F(ContextTest, PredicatesSortsAndLimitsAnswerAlikeFromFileAndFromUnsavedObjects) {
    struct Row {
        const char* message;
        const char* session;
        double date;
    };
    const Row rows[] = {
        {"m1", "s1", 10}, {"m2", "s2", 20}, {"m3", "s1", 30}, {"m4", "s3", 40}, {"m5", "s1", 50}};
    using P = Predicate;
    struct Case {
        const char* what;
        std::shared_ptr<Predicate> predicate;
        std::vector<SortDescriptor> sort;
        std::size_t limit;
        std::vector<std::string> expected;
    };
    const std::vector<Case> cases = {
        {"all by message", nullptr, {{"message", true}}, 0, {"m1", "m2", "m3", "m4", "m5"}},
        {"== string", P::equal("sessionId", std::string("s1")), {{"message", true}}, 0, {"m1", "m3", "m5"}},
        {"!= string", P::notEqual("sessionId", std::string("s1")), {{"message", true}}, 0, {"m2", "m4"}},
        {"<= date", P::lessOrEqual("date", dateValue(Date(30))), {{"date", true}}, 0, {"m1", "m2", "m3"}},
        {"<= string",
         P::lessOrEqual("sessionId", std::string("s2")),
         {{"message", true}},
         0,
         {"m1", "m2", "m3", "m5"}},
        {"newest first with limit",
         P::equal("sessionId", std::string("s1")),
         {{"date", false}},
         2,
         {"m5", "m3"}},
        {"AND",
         P::andPredicate(P::equal("sessionId", std::string("s1")),
                         P::lessOrEqual("date", dateValue(Date(30)))),
         {{"message", true}},
         0,
         {"m1", "m3"}},
        {"two sort keys", nullptr, {{"sessionId", false}, {"date", true}}, 0, {"m4", "m2", "m1", "m3", "m5"}},
        {"limit without sort", nullptr, {}, 3, {"m1", "m2", "m3"}},
        {"no match", P::equal("sessionId", std::string("'; DELETE FROM BrindlexLog; --")), {}, 0, {}},
    };

    auto root = rootContext(openStore(storePath()));
    for (const auto& r : rows)
        insertLog(*root, r.message, r.session, r.date);
    ASSERT_TRUE(root->save());

    auto otherStore = (sandboxRoot() / "unsaved.sqlite").string();
    auto fresh = rootContext(openStore(otherStore));
    auto child = childOf(fresh);
    for (const auto& r : rows)
        insertLog(*child, r.message, r.session, r.date);

    for (const auto& c : cases) {
        FetchRequest request("BrindlexLog");
        request.predicate = c.predicate;
        request.sortDescriptors = c.sort;
        request.fetchLimit = c.limit;
        EXPECT_EQ(strings(*root, request, "message"), c.expected) << "file: " << c.what;
        EXPECT_EQ(strings(*child, request, "message"), c.expected) << "unsaved: " << c.what;
    }
    EXPECT_EQ(root->executeFetchRequest(FetchRequest("BrindlexLog")).size(), 5u);
}

TEST_F(ContextTest, ChangesMadeBeforeTheStoreIsAddedWaitForItAndKeepTheFilesRows) {
    {
        auto root = rootContext(openStore(storePath()));
        insertLog(*root, "earlier launch", "s", 1);
        ASSERT_TRUE(root->save());
    }
    auto coordinator = std::make_shared<PersistentStoreCoordinator>(ManagedObjectModel::brindlexDataModel());
    auto root = rootContext(coordinator);
    auto child = childOf(root);
    insertLog(*child, "before the store", "s", 2);
    ASSERT_TRUE(child->save());
    Error error;
    EXPECT_FALSE(root->save(&error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_TRUE(root->hasChanges());

    ASSERT_TRUE(coordinator->addSQLiteStoreAtURL(storePath(), {}, &error)) << error.localizedDescription();
    insertLog(*root, "after the store", "s", 3);
    ASSERT_TRUE(root->save(&error)) << error.localizedDescription();
    FetchRequest byDate("BrindlexLog");
    byDate.sortDescriptors = {{"date", true}};
    EXPECT_EQ(strings(*rootContext(openStore(storePath())), byDate, "message"),
              (std::vector<std::string>{"earlier launch", "before the store", "after the store"}));
}

TEST_F(ContextTest, WithoutPropertyValuesObjectsAreFaultsThatReadOnAccess) {
    auto root = rootContext(openStore(storePath()));
    insertLog(*root, "lazy", "s", 1);
    ASSERT_TRUE(root->save());
    auto reader = rootContext(openStore(storePath()));
    FetchRequest request("BrindlexLog");
    request.includesPropertyValues = false;
    auto objects = reader->executeFetchRequest(request);
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_TRUE(objects[0]->isFault());
    EXPECT_EQ(objects[0]->stringForKey("message"), "lazy");
    EXPECT_FALSE(objects[0]->isFault());
}

TEST_F(ContextTest, ChildrenOnPrivateQueuesSaveConcurrentlyIntoOneParent) {
    auto root = rootContext(openStore(storePath()));
    constexpr int kWriters = 4, kEach = 50;
    std::vector<std::shared_ptr<ManagedObjectContext>> children;
    for (int w = 0; w < kWriters; ++w)
        children.push_back(childOf(root));
    std::atomic<int> done{0};
    for (int w = 0; w < kWriters; ++w) {
        auto child = children[w];
        child->performBlock([child, w, &done] {
            for (int i = 0; i < kEach; ++i) {
                insertLog(*child, std::to_string(w) + "." + std::to_string(i), "s", i);
                child->save();
            }
            ++done;
        });
    }
    // Waiting on each child's queue orders this thread after its block.
    for (const auto& child : children)
        child->performBlockAndWait([] {});
    EXPECT_EQ(done.load(), kWriters);
    bool saved = false;
    root->performBlockAndWait([&] { saved = root->save(); });
    ASSERT_TRUE(saved);
    EXPECT_EQ(rootContext(openStore(storePath()))->executeFetchRequest(FetchRequest("BrindlexLog")).size(),
              static_cast<std::size_t>(kWriters * kEach));
}

TEST_F(ContextTest, AMainQueueContextRunsItsBlocksOnTheMainQueue) {
    auto context =
        ManagedObjectContext::initWithConcurrencyType(ManagedObjectContext::ConcurrencyType::MainQueue);
    context->setParentContext(rootContext(openStore(storePath())));
    bool onMain = false;
    context->performBlock([&] {
        onMain = DispatchQueue::main()->isCurrent();
        insertLog(*context, "main", "s", 1);
    });
    EXPECT_FALSE(context->hasChanges());
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_TRUE(onMain);
    EXPECT_TRUE(context->hasChanges());
}

}  // namespace
}  // namespace bdx::store
