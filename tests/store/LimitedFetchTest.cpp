#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/store/StoreTestSupport.h"

namespace bdx::store {
namespace {

using Strings = std::vector<std::string>;
using LimitedFetchTest = StoreTest;

std::shared_ptr<ManagedObject> find(ManagedObjectContext& context, const std::string& message) {
    FetchRequest request("BrindlexLog");
    request.predicate = Predicate::equal("message", message);
    return context.executeFetchRequest(request).front();
}

// A limited fetch through a chain of contexts reads only a few more rows than asked from below; each
// change above may push one saved row out, and the answer must be the one a full read would give.
TEST_F(LimitedFetchTest, NewestRowsStayRightWhenChangesAboveTheFileDisplaceTheSavedOnes) {
    struct Case {
        const char* what;
        // Changes made to the saved rows m1..m6 (dates 10..60): on the child, then on the grandchild.
        void (*change)(ManagedObjectContext& child, ManagedObjectContext& grandchild);
        Strings expected;
    };
    const Case cases[] = {
        {"the newest two deleted",
         [](ManagedObjectContext& child, ManagedObjectContext&) {
             child.deleteObject(find(child, "m6"));
             child.deleteObject(find(child, "m5"));
         },
         {"m4", "m3"}},
        {"the newest two made oldest",
         [](ManagedObjectContext&, ManagedObjectContext& grandchild) {
             find(grandchild, "m6")->setDate("date", Date(1));
             find(grandchild, "m5")->setDate("date", Date(2));
         },
         {"m4", "m3"}},
        {"one deleted on each level, one inserted newest",
         [](ManagedObjectContext& child, ManagedObjectContext& grandchild) {
             child.deleteObject(find(child, "m6"));
             grandchild.deleteObject(find(grandchild, "m5"));
             insertLog(grandchild, "new", "s", 100);
         },
         {"new", "m4"}},
        {"the newest deleted and an older one moved between the saved",
         [](ManagedObjectContext& child, ManagedObjectContext&) {
             child.deleteObject(find(child, "m6"));
             find(child, "m1")->setDate("date", Date(55));
         },
         {"m1", "m5"}},
    };
    auto root = rootContext(openStore(storePath()));
    for (int i = 1; i <= 6; ++i)
        insertLog(*root, "m" + std::to_string(i), "s", i * 10);
    ASSERT_TRUE(root->save());
    FetchRequest newest("BrindlexLog");
    newest.sortDescriptors = {{"date", false}};
    newest.fetchLimit = 2;
    for (const auto& c : cases) {
        auto child = childOf(root);
        auto grandchild = childOf(child);
        c.change(*child, *grandchild);
        EXPECT_EQ(c.expected, strings(*grandchild, newest, "message")) << c.what;
    }
}

}  // namespace
}  // namespace bdx::store
