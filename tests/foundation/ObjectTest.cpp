#include "foundation/Object.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "foundation/ClassRegistry.h"
#include "testing/ConsoleCapture.h"

using bdx::ClassRegistry;

namespace {

class TestView : public bdx::Object {
    BDX_DECLARE_CLASS(TestView, bdx::Object)
  public:
    std::string label = "view";
};

class TestScrollView : public TestView {
    BDX_DECLARE_CLASS(TestScrollView, TestView)
};

class TestTableView : public TestScrollView {
    BDX_DECLARE_CLASS(TestTableView, TestScrollView)
};

class TestNeedsArgument : public bdx::Object {
    BDX_DECLARE_CLASS(TestNeedsArgument, bdx::Object)
  public:
    explicit TestNeedsArgument(int) {}
};

class TestExploding : public bdx::Object {
    BDX_DECLARE_CLASS(TestExploding, bdx::Object)
  public:
    TestExploding() { throw std::runtime_error("no memory for you"); }
};

}  // namespace

TEST(RuntimeNames, KindsFollowTheChainOfSuperclasses) {
    TestTableView table;
    EXPECT_EQ(table.className(), "TestTableView");
    EXPECT_EQ(table.superclassName(), "TestScrollView");
    for (const char* kind : {"TestTableView", "TestScrollView", "TestView", "NSObject"}) {
        EXPECT_TRUE(table.isKindOf(kind)) << kind;
    }
    EXPECT_FALSE(table.isKindOf("TestTable"));
    EXPECT_TRUE(table.isMemberOf("TestTableView"));
    EXPECT_FALSE(table.isMemberOf("TestView"));
    EXPECT_TRUE(table.isKindOf<TestView>());

    TestView plain;
    EXPECT_FALSE(plain.isKindOf("TestScrollView"));
    EXPECT_FALSE(plain.isKindOf<TestScrollView>());

    // Through a base pointer the object still knows its own class.
    std::unique_ptr<bdx::Object> object = std::make_unique<TestScrollView>();
    EXPECT_EQ(object->className(), "TestScrollView");
    EXPECT_EQ(bdx::Object().superclassName(), "");
    EXPECT_EQ(object->description().rfind("<TestScrollView: 0x", 0), 0u) << object->description();
}

TEST(RuntimeNames, ClassesAreFoundAndMadeByName) {
    ClassRegistry::registerClass<TestScrollView>();
    ClassRegistry::registerClass<TestNeedsArgument>();

    ASSERT_EQ(ClassRegistry::classNamed("TestScrollView"), &TestScrollView::staticClassInfo());
    auto made = ClassRegistry::make("TestScrollView");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->className(), "TestScrollView");
    auto view = std::dynamic_pointer_cast<TestView>(made);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->label, "view");

    EXPECT_TRUE(ClassRegistry::isRegistered("TestNeedsArgument"));
    EXPECT_EQ(ClassRegistry::make("TestNeedsArgument"), nullptr);
    EXPECT_EQ(ClassRegistry::classNamed("NoSuchClass"), nullptr);
    EXPECT_EQ(ClassRegistry::make("NoSuchClass"), nullptr);
    EXPECT_NE(ClassRegistry::classNamed("NSObject"), nullptr);

    ClassRegistry::unregisterClass("TestScrollView");
    EXPECT_EQ(ClassRegistry::make("TestScrollView"), nullptr);
}

TEST(RuntimeNames, AFactoryThatThrowsMakesNothingAndIsLogged) {
    bdx::testing::ConsoleCapture capture;
    ClassRegistry::registerClass<TestExploding>();
    EXPECT_EQ(ClassRegistry::make("TestExploding"), nullptr);
    EXPECT_TRUE(capture.contains(bdx::Console::Channel::Fault, "no memory for you"));
}

TEST(RuntimeNames, ClassesDefinedByNameJoinTheChain) {
    const bdx::ClassInfo& hostView =
        ClassRegistry::defineClass("HostPrivateView", TestView::staticClassInfo());
    EXPECT_TRUE(hostView.isKindOf("TestView"));
    EXPECT_TRUE(hostView.isKindOf("NSObject"));
    EXPECT_TRUE(hostView.isSubclassOf(TestView::staticClassInfo()));
    EXPECT_EQ(&ClassRegistry::defineClass("HostPrivateView", TestView::staticClassInfo()), &hostView);
    EXPECT_EQ(ClassRegistry::classNamed("HostPrivateView"), &hostView);
    // Known by name, but nothing can be made of it.
    EXPECT_EQ(ClassRegistry::make("HostPrivateView"), nullptr);
}

TEST(RuntimeNames, TheRegistryIsSafeFromManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kClasses = 50;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kClasses; ++i) {
                const std::string name = "Threaded" + std::to_string(t) + "_" + std::to_string(i);
                ClassRegistry::registerClass(ClassRegistry::defineClass(name, TestView::staticClassInfo()),
                                             [] { return std::make_shared<TestView>(); });
                ClassRegistry::make(name);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kClasses; ++i) {
            EXPECT_NE(ClassRegistry::make("Threaded" + std::to_string(t) + "_" + std::to_string(i)), nullptr);
        }
    }
}
