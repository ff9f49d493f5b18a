#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/ui/LayoutConstraint.h"
#include "platform/ui/ViewKinds.h"
#include "tests/platform/UiTestSupport.h"

namespace bdx::ui {
namespace {

class UiViewKindsTest : public testing::UiModelTest {};

TEST_F(UiViewKindsTest, KindsKeepTheirOwnState) {
    auto label = std::make_shared<Label>();
    EXPECT_FALSE(label->text().has_value()) << "a label's text is nothing until set";
    label->setText("");
    EXPECT_TRUE(label->text().has_value());

    auto view = View::make();
    EXPECT_FALSE(view->accessibilityLabel().has_value());
    view->setAccessibilityIdentifier("checkout.pay");
    EXPECT_EQ(view->accessibilityIdentifier(), "checkout.pay");

    auto button = std::dynamic_pointer_cast<Button>(View::make("PayButton", "UIButton"));
    ASSERT_NE(button, nullptr);
    button->setTitle("Pay");
    EXPECT_EQ(button->currentTitle(), "Pay");
    EXPECT_TRUE(button->isKindOf("UIControl"));

    auto progress = std::make_shared<ProgressView>();
    progress->setProgress(1.5f);
    EXPECT_EQ(progress->progress(), 1.0f);

    auto stack = std::make_shared<StackView>();
    auto first = View::make();
    auto second = View::make();
    stack->addArrangedSubview(first);
    stack->addArrangedSubview(second);
    EXPECT_EQ(stack->arrangedSubviews(), (std::vector<std::shared_ptr<View>>{first, second}));
    EXPECT_EQ(stack->subviews().size(), 2u);
    first->removeFromSuperview();
    EXPECT_EQ(stack->arrangedSubviews(), std::vector<std::shared_ptr<View>>{second});

    auto table = std::make_shared<TableView>();
    auto cell = std::make_shared<TableViewCell>();
    cell->setFrame({0, 0, 320, 44});
    auto content = cell->contentView();
    EXPECT_EQ(cell->contentView(), content) << "made once";
    EXPECT_EQ(cell->subviews().front(), content);
    EXPECT_EQ(content->frame(), (gfx::Rect{0, 0, 320, 44}));
    table->addSubview(cell);
    table->addSubview(View::make());
    auto hiddenCell = std::make_shared<TableViewCell>();
    hiddenCell->setHidden(true);
    table->addSubview(hiddenCell);
    EXPECT_EQ(table->visibleCells(), std::vector<std::shared_ptr<View>>{cell});

    auto collection = std::make_shared<CollectionView>();
    auto item =
        std::dynamic_pointer_cast<CollectionViewCell>(View::make("PhotoCell", "UICollectionViewCell"));
    ASSERT_NE(item, nullptr);
    collection->addSubview(item);
    EXPECT_EQ(collection->visibleCells(), std::vector<std::shared_ptr<View>>{item});
    EXPECT_TRUE(item->isKindOf("UICollectionReusableView"));

    auto notes = std::make_shared<TextView>();
    EXPECT_TRUE(notes->canBecomeFirstResponder());
    notes->setEditable(false);
    EXPECT_FALSE(notes->canBecomeFirstResponder());
    notes->setContentOffset({0, 30});
    EXPECT_EQ(notes->bounds().origin, (gfx::Point{0, 30}));
}

TEST_F(UiViewKindsTest, ConstraintsAreRecordedAsMade) {
    auto container = View::make();
    auto avatar = std::make_shared<ImageView>();
    container->addSubview(avatar);
    auto width = LayoutConstraint::make(avatar, LayoutAttribute::Width, LayoutRelation::Equal, nullptr,
                                        LayoutAttribute::NotAnAttribute, 1, 40);
    auto leading =
        LayoutConstraint::make(avatar, LayoutAttribute::Leading, LayoutRelation::GreaterThanOrEqual,
                               container, LayoutAttribute::LeadingMargin, 1, 8);
    leading->setPriority(750);
    container->addConstraint(width);
    container->addConstraint(leading);
    container->addConstraint(width);
    ASSERT_EQ(container->constraints().size(), 2u);
    EXPECT_EQ(width->firstItem(), avatar);
    EXPECT_EQ(width->secondItem(), nullptr);
    EXPECT_EQ(static_cast<int>(leading->secondAttribute()), 17);
    EXPECT_EQ(static_cast<int>(leading->relation()), 1);
    EXPECT_EQ(leading->priority(), 750);
    EXPECT_EQ(width->priority(), UILayoutPriorityRequired);
    EXPECT_EQ(static_cast<int>(LayoutAttribute::LastBaseline), static_cast<int>(LayoutAttribute::Baseline));
    container->removeConstraint(width);
    EXPECT_EQ(container->constraints(), std::vector<std::shared_ptr<LayoutConstraint>>{leading});
}

TEST_F(UiViewKindsTest, TreeChangesTellTheViewsAndKeepTheTreeATree) {
    struct Watcher : View {
        void didMoveToSuperview() override { ++superviewMoves; }
        void didMoveToWindow() override { ++windowMoves; }
        int superviewMoves = 0;
        int windowMoves = 0;
    };
    auto window = keyWindow();
    auto parent = View::make();
    auto watcher = std::make_shared<Watcher>();
    parent->addSubview(watcher);
    EXPECT_EQ(watcher->superviewMoves, 1);
    EXPECT_EQ(watcher->windowMoves, 0);
    window->addSubview(parent);
    EXPECT_EQ(watcher->windowMoves, 1);
    EXPECT_EQ(watcher->window(), window);
    parent->insertSubview(View::make(), 0);
    EXPECT_EQ(parent->subviews().back(), watcher);
    parent->insertSubview(watcher, -5);
    EXPECT_EQ(parent->subviews().front(), watcher);
    EXPECT_EQ(watcher->superviewMoves, 1) << "reordering is no move";

    // A view cannot become its own ancestor.
    watcher->addSubview(parent);
    EXPECT_EQ(parent->superview(), window);
    EXPECT_TRUE(watcher->subviews().empty());

    parent->removeFromSuperview();
    EXPECT_EQ(watcher->windowMoves, 2);
    EXPECT_EQ(watcher->window(), nullptr);
}

// A host object that is not part of the view tree, for exercising the tables from several threads.
class Probe : public RuntimeObject {
  public:
    Probe() : RuntimeObject("Probe", "NSObject") {}
};

TEST_F(UiViewKindsTest, MethodTableIsSafeToChangeWhileMessagesAreSent) {
    auto runtime = Runtime::shared();
    auto probe = std::make_shared<Probe>();
    runtime->addMethod("Probe", "ping",
                       [](const auto&, const std::string&, const Arguments&) { return std::any(1); });
    std::atomic<bool> done{false};
    std::atomic<int> answered{0};
    std::thread sender([&] {
        while (!done.load()) {
            if (runtime->send(probe, "ping").has_value()) {
                answered.fetch_add(1);
            }
        }
    });
    for (int i = 0; i < 2000; ++i) {
        runtime->replace("Probe", "ping",
                         [i](const auto&, const std::string&, const Arguments&) { return std::any(i); });
        runtime->registerClass("ProbeSubclass" + std::to_string(i), "Probe");
    }
    while (answered.load() == 0) {
        std::this_thread::yield();
    }
    done = true;
    sender.join();
    EXPECT_EQ(std::any_cast<int>(runtime->send(probe, "ping")), 1999);
    EXPECT_TRUE(runtime->isSubclassOf("ProbeSubclass1999", "NSObject"));
}

}  // namespace
}  // namespace bdx::ui
