// Public header: installed with the library for hosts to include.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/Responder.h"

namespace bdx::ui {

class NavigationController;
class Runtime;
class TabBarController;
class View;

// A view controller: its view (made on first use by loadView, or given), its place among parent and
// child controllers, and the controller it presents. "viewDidAppear:" is a message of the method
// table; the model sends it when a controller's view comes on screen (the root of a window that
// shows, a pushed or presented controller, a selected tab), and the default implementation passes
// it on to the child controllers whose views are on screen with it.
//
// Main thread only, like the rest of the model.
class ViewController : public Responder {
  public:
    // A controller of the class (registered as a kind of `kindOf`, "UIViewController" when empty, if
    // new), of the model type of its nearest platform kind.
    static std::shared_ptr<ViewController> make(const std::string& className = "UIViewController",
                                                const std::string& kindOf = "");

    explicit ViewController(std::string className = "UIViewController",
                            std::string_view kindOf = "UIViewController");
    ~ViewController() override;

    // The view, loaded first if needed (loadView, then viewDidLoad).
    std::shared_ptr<View> view();
    std::shared_ptr<View> viewIfLoaded() const { return view_; }
    bool isViewLoaded() const { return view_ != nullptr; }
    void setView(const std::shared_ptr<View>& view);
    // Makes the view; by default a plain view the size of the screen.
    virtual void loadView();
    virtual void viewDidLoad() {}

    // Sends "viewDidAppear:".
    void viewDidAppear(bool animated);

    std::shared_ptr<ViewController> parentViewController() const { return parent_.lock(); }
    const std::vector<std::shared_ptr<ViewController>>& childViewControllers() const { return children_; }
    // A child that has another parent leaves it first. The child's view is the parent's to place.
    void addChildViewController(const std::shared_ptr<ViewController>& child);
    void removeFromParentViewController();

    std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
    std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }
    // Shows the controller's view over the whole window of this one and tells it that it appeared.
    // Refused (and logged) while this controller presents another, or when its view is in no window.
    void presentViewController(const std::shared_ptr<ViewController>& controller, bool animated,
                               std::function<void()> completion = {});
    // Dismisses what this controller presents, or, when it presents nothing, this controller from its
    // presenter; everything presented above goes too. The completion runs when something was dismissed.
    void dismissViewControllerAnimated(bool animated, std::function<void()> completion = {});

    // The nearest navigation or tab bar controller among the parents, or nullptr.
    std::shared_ptr<NavigationController> navigationController() const;
    std::shared_ptr<TabBarController> tabBarController() const;

    // The superview of the controller's view.
    std::shared_ptr<Responder> nextResponder() const override;

    static void installDefaultMethods(Runtime& runtime);

  protected:
    // Calls viewDidAppear on each child whose view is on screen inside this controller's view.
    void forwardAppearance(bool animated);
    // Removes the controller's view from its superview and forgets its presenter and what it presents.
    void tearDownPresentation();

  private:
    std::shared_ptr<View> view_;
    std::weak_ptr<ViewController> parent_;
    std::vector<std::shared_ptr<ViewController>> children_;
    std::shared_ptr<ViewController> presented_;
    std::weak_ptr<ViewController> presenting_;
};

}  // namespace bdx::ui
