#include <filesystem>
#include <fstream>
#include <limits>
#include <set>

#include <nlohmann/json.hpp>

#include "tests/store/StoreTestSupport.h"

namespace bdx::store {
namespace {

namespace fs = std::filesystem;

std::shared_ptr<ManagedObjectModel> everyTypeModel() {
    auto model = std::make_shared<ManagedObjectModel>("Types");
    model->addEntity("Everything")
        .addAttribute("text", AttributeType::String)
        .addAttribute("small", AttributeType::Integer16)
        .addAttribute("medium", AttributeType::Integer32)
        .addAttribute("large", AttributeType::Integer64)
        .addAttribute("real", AttributeType::Double)
        .addAttribute("flag", AttributeType::Boolean)
        .addAttribute("when", AttributeType::Date)
        .addAttribute("bytes", AttributeType::Binary)
        .addAttribute("object", AttributeType::Transformable);
    return model;
}

using PersistentStoreTest = StoreTest;

TEST_F(PersistentStoreTest, EveryAttributeTypeSurvivesAFreshCoordinator) {
    struct Case {
        std::string text;
        std::int64_t small, medium, large;
        double real;
        bool flag;
        double when;
        Data bytes;
        Value object;
    };
    const std::vector<Case> cases = {
        {"plain", 1, 2, 3, 0.5, true, 1700000000.25, {1, 2, 3}, Value{{"headers", {{"Accept", "*/*"}}}}},
        {"it's \"quoted\"; DROP TABLE Everything; --",
         std::numeric_limits<std::int16_t>::min(),
         std::numeric_limits<std::int32_t>::max(),
         std::numeric_limits<std::int64_t>::min(),
         -1e300,
         false,
         -1.5,
         {0, 0, 255},
         Value::array({1, "two", nullptr})},
        {"",
         std::numeric_limits<std::int16_t>::max(),
         std::numeric_limits<std::int32_t>::min(),
         std::numeric_limits<std::int64_t>::max(),
         0.0,
         true,
         0.0,
         {},
         Value("a body as text")},
    };
    {
        auto context = rootContext(openStore(storePath(), everyTypeModel()));
        for (const auto& c : cases) {
            auto o = context->insertNewObjectForEntityForName("Everything");
            o->setString("text", c.text);
            o->setInteger("small", c.small);
            o->setInteger("medium", c.medium);
            o->setInteger("large", c.large);
            o->setDouble("real", c.real);
            o->setBool("flag", c.flag);
            o->setDate("when", Date(c.when));
            o->setData("bytes", c.bytes);
            o->setValue("object", c.object);
        }
        context->insertNewObjectForEntityForName("Everything");  // every field absent
        Error error;
        ASSERT_TRUE(context->save(&error)) << error.localizedDescription();
    }
    auto context = rootContext(openStore(storePath(), everyTypeModel()));
    FetchRequest request("Everything");
    auto objects = context->executeFetchRequest(request);
    ASSERT_EQ(objects.size(), cases.size() + 1);
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& c = cases[i];
        const auto& o = objects[i];
        EXPECT_EQ(o->stringForKey("text"), c.text) << i;
        EXPECT_EQ(o->integerForKey("small"), c.small) << i;
        EXPECT_EQ(o->integerForKey("medium"), c.medium) << i;
        EXPECT_EQ(o->integerForKey("large"), c.large) << i;
        EXPECT_EQ(o->doubleForKey("real"), c.real) << i;
        EXPECT_EQ(o->boolForKey("flag"), c.flag) << i;
        EXPECT_EQ(o->dateForKey("when"), Date(c.when)) << i;
        EXPECT_EQ(o->dataForKey("bytes"), c.bytes) << i;
        EXPECT_EQ(o->valueForKey("object"), c.object) << i;
    }
    const auto& empty = objects.back();
    EXPECT_FALSE(empty->stringForKey("text"));
    EXPECT_FALSE(empty->integerForKey("large"));
    EXPECT_FALSE(empty->boolForKey("flag"));
    EXPECT_FALSE(empty->dateForKey("when"));
    EXPECT_FALSE(empty->dataForKey("bytes"));
    EXPECT_TRUE(empty->valueForKey("object").is_null());
}

TEST_F(PersistentStoreTest, AccessorsRefuseWrongTypesAndOutOfRangeIntegers) {
    auto context = rootContext(openStore(storePath(), everyTypeModel()));
    auto o = context->insertNewObjectForEntityForName("Everything");
    o->setInteger("small", 40000);                   // beyond 16 bits
    o->setInteger("medium", std::int64_t{1} << 40);  // beyond 32 bits
    o->setString("medium", "not a number");          // wrong type
    o->setInteger("missing", 1);                     // no such attribute
    EXPECT_FALSE(o->integerForKey("small"));
    EXPECT_FALSE(o->integerForKey("medium"));
    EXPECT_FALSE(o->stringForKey("medium"));
    EXPECT_EQ(context->insertNewObjectForEntityForName("NoSuchEntity"), nullptr);
}

TEST_F(PersistentStoreTest, RelaunchReadsBackEveryRowAndTheToManyRelationship) {
    {
        auto root = rootContext(openStore(storePath()));
        auto child = childOf(root);
        for (int i = 0; i < 5; ++i)
            insertLog(*child, "line " + std::to_string(i), "s1", 100 + i);
        for (const char* method : {"logMethod", "logCountedMethod"}) {
            auto analytic = child->insertNewObjectForEntityForName("Analytic");
            analytic->setString("methodLog", method);
            analytic->setInteger("count", 2);
            for (const char* name : {"first", "second"}) {
                auto param = child->insertNewObjectForEntityForName("AnalyticsParam");
                param->setString("name", std::string(method) + "." + name);
                analytic->addObject("param", param);
            }
        }
        ASSERT_TRUE(child->save());
        ASSERT_TRUE(root->save());
    }
    auto context = rootContext(openStore(storePath()));
    FetchRequest logs("BrindlexLog");
    logs.sortDescriptors = {{"date", true}};
    EXPECT_EQ(strings(*context, logs, "message"),
              (std::vector<std::string>{"line 0", "line 1", "line 2", "line 3", "line 4"}));
    FetchRequest analytics("Analytic");
    analytics.sortDescriptors = {{"methodLog", true}};
    auto found = context->executeFetchRequest(analytics);
    ASSERT_EQ(found.size(), 2u);
    for (const auto& analytic : found) {
        auto method = *analytic->stringForKey("methodLog");
        std::set<std::string> names;
        for (const auto& param : analytic->objectsForKey("param")) {
            names.insert(param->stringForKey("name").value_or(""));
            EXPECT_EQ(param->objectForKey("analytic"), analytic);
        }
        EXPECT_EQ(names, (std::set<std::string>{method + ".first", method + ".second"}));
    }

    // Deleting one side of the pair leaves the other side without a pointer to it, in the file too.
    auto params = found[0]->objectsForKey("param");
    ASSERT_EQ(params.size(), 2u);
    context->deleteObject(found[0]);
    EXPECT_EQ(params[0]->objectForKey("analytic"), nullptr);
    ASSERT_TRUE(context->save());
    FetchRequest orphans("AnalyticsParam");
    orphans.predicate = Predicate::equal("analytic", std::monostate{});
    EXPECT_EQ(rootContext(openStore(storePath()))->executeFetchRequest(orphans).size(), 2u);
}

TEST_F(PersistentStoreTest, AStoreOfAnOlderModelOpensUnderTheNewerWithItsRows) {
    auto older = std::make_shared<ManagedObjectModel>("Versioned");
    older->addEntity("Item").addAttribute("name", AttributeType::String);
    {
        auto context = rootContext(openStore(storePath(), older));
        for (const char* name : {"a", "b"})
            context->insertNewObjectForEntityForName("Item")->setString("name", name);
        ASSERT_TRUE(context->save());
    }
    auto newer = std::make_shared<ManagedObjectModel>("Versioned");
    newer->addEntity("Item")
        .addAttribute("name", AttributeType::String)
        .addAttribute("rank", AttributeType::Integer32);
    newer->addEntity("Extra").addAttribute("note", AttributeType::String);

    PersistentStoreCoordinator strict(newer);
    StoreOptions noMigration;
    noMigration.migratePersistentStoresAutomatically = false;
    Error error;
    EXPECT_FALSE(strict.addSQLiteStoreAtURL(storePath(), noMigration, &error));
    EXPECT_FALSE(error.isEmpty());

    auto context = rootContext(openStore(storePath(), newer));
    FetchRequest items("Item");
    auto rows = context->executeFetchRequest(items);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0]->stringForKey("name"), "a");
    EXPECT_FALSE(rows[0]->integerForKey("rank"));
    rows[0]->setInteger("rank", 7);
    context->insertNewObjectForEntityForName("Item")->setString("name", "c");
    context->insertNewObjectForEntityForName("Extra")->setString("note", "new table");
    ASSERT_TRUE(context->save());

    auto relaunched = rootContext(openStore(storePath() + "", newer));
    items.sortDescriptors = {{"name", true}};
    auto after = relaunched->executeFetchRequest(items);
    ASSERT_EQ(after.size(), 3u);
    EXPECT_EQ(after[0]->integerForKey("rank"), 7);
    EXPECT_EQ(strings(*relaunched, FetchRequest("Extra"), "note"), std::vector<std::string>{"new table"});
}

TEST_F(PersistentStoreTest, DamagedStoreFilesFailWithAnError) {
    // A real store, to be cut short.
    std::string good = (sandboxRoot() / "good.sqlite").string();
    {
        auto context = rootContext(openStore(good));
        for (int i = 0; i < 300; ++i)
            insertLog(*context, std::string(500, 'x') + std::to_string(i), "s", i);
        ASSERT_TRUE(context->save());
    }
    auto size = fs::file_size(good);
    ASSERT_GT(size, 8192u);

    struct Case {
        const char* what;
        void (*make)(const std::string& path, const std::string& good);
    };
    const Case cases[] = {
        {"garbage",
         [](const std::string& path, const std::string&) {
             std::ofstream out(path, std::ios::binary);
             for (int i = 0; i < 4096; ++i)
                 out.put(static_cast<char>((i * 131 + 7) & 0xff));
         }},
        {"truncated",
         [](const std::string& path, const std::string& good) {
             fs::copy_file(good, path);
             fs::resize_file(path, fs::file_size(path) / 2);
         }},
        {"directory", [](const std::string& path, const std::string&) { fs::create_directory(path); }},
    };
    for (const auto& c : cases) {
        std::string path = (sandboxRoot() / (std::string(c.what) + ".sqlite")).string();
        c.make(path, good);
        PersistentStoreCoordinator coordinator(ManagedObjectModel::brindlexDataModel());
        Error error;
        EXPECT_FALSE(coordinator.addSQLiteStoreAtURL(path, {}, &error)) << c.what;
        EXPECT_FALSE(error.isEmpty()) << c.what;
        EXPECT_FALSE(coordinator.hasPersistentStore()) << c.what;
    }
}

TEST_F(PersistentStoreTest, DestroyRemovesTheFileAndItsWriteAheadCompanions) {
    auto coordinator = openStore(storePath());
    auto context = rootContext(coordinator);
    insertLog(*context, "m", "s", 1);
    ASSERT_TRUE(context->save());
    // The write-ahead journal is in use while the store is open.
    ASSERT_TRUE(fs::exists(storePath() + "-wal"));
    ASSERT_TRUE(fs::exists(storePath() + "-shm"));
    coordinator->removePersistentStore();
    std::ofstream(storePath() + "-wal") << "left over";
    std::ofstream(storePath() + "-shm") << "left over";
    Error error;
    EXPECT_TRUE(PersistentStoreCoordinator::destroyPersistentStoreAtURL(storePath(), &error));
    for (const char* suffix : {"", "-wal", "-shm"})
        EXPECT_FALSE(fs::exists(storePath() + suffix)) << suffix;
}

}  // namespace
}  // namespace bdx::store
