#include <gtest/gtest.h>

#include "foundation/Error.h"
#include "platform/store/ManagedObjectModel.h"

namespace bdx::store {
namespace {

TEST(ManagedObjectModelTest, LibraryModelHoldsTheSixEntitiesAndTheParamPair) {
    auto model = ManagedObjectModel::brindlexDataModel();
    EXPECT_EQ(model->name(), "BrindlexDataModel");
    for (const char* name :
         {"BrindlexLog", "NetworkLog", "UserStep", "EventLog", "Analytic", "AnalyticsParam"})
        EXPECT_NE(model->entityNamed(name), nullptr) << name;
    Error error;
    EXPECT_TRUE(model->validate(&error)) << error.localizedDescription();
    const auto& param = model->entityNamed("Analytic")
                            ->properties()[*model->entityNamed("Analytic")->indexOfProperty("param")];
    EXPECT_EQ(param.kind, PropertyDescription::Kind::ToMany);
    EXPECT_EQ(param.destinationEntity, "AnalyticsParam");
    EXPECT_EQ(param.inverseName, "analytic");
}

TEST(ManagedObjectModelTest, RefusesNamesThatAreNotIdentifiersAndUnpairedRelationships) {
    struct Case {
        const char* what;
        void (*build)(ManagedObjectModel&);
    };
    const Case cases[] = {
        {"quote in entity", [](ManagedObjectModel& m) { m.addEntity("Bad\"Name"); }},
        {"space in attribute",
         [](ManagedObjectModel& m) { m.addEntity("A").addAttribute("x y", AttributeType::String); }},
        {"reserved key column",
         [](ManagedObjectModel& m) { m.addEntity("A").addAttribute("pk", AttributeType::String); }},
        {"missing destination", [](ManagedObjectModel& m) { m.addEntity("A").addToMany("b", "B", "a"); }},
        {"missing inverse",
         [](ManagedObjectModel& m) {
             m.addEntity("A").addToMany("b", "B", "a");
             m.addEntity("B");
         }},
        {"inverse points elsewhere",
         [](ManagedObjectModel& m) {
             m.addEntity("A").addToMany("b", "B", "a");
             m.addEntity("B").addToOne("a", "A", "other");
         }},
    };
    for (const auto& c : cases) {
        ManagedObjectModel model("M");
        c.build(model);
        Error error;
        EXPECT_FALSE(model.validate(&error)) << c.what;
        EXPECT_FALSE(error.isEmpty()) << c.what;
    }
}

}  // namespace
}  // namespace bdx::store
