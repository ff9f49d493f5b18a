#include "platform/ui/View.h"

#include <algorithm>
#include <functional>
#include <map>

#include "platform/PlatformLog.h"
#include "platform/gfx/ImageContext.h"
#include "platform/ui/Application.h"
#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/ViewKinds.h"
#include "platform/ui/ViewRenderer.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

namespace {

using Factory = std::function<std::shared_ptr<View>(const std::string& className)>;

template <class Kind>
Factory factoryOf(const char* kind) {
    return [kind](const std::string& className) { return std::make_shared<Kind>(className, kind); };
}

// The model type for each platform kind that has state or behaviour of its own.
const std::map<std::string, Factory, std::less<>>& factories() {
    static const std::map<std::string, Factory, std::less<>> table = {
        {"UIView", factoryOf<View>("UIView")},
        {"UIWindow", factoryOf<Window>("UIWindow")},
        {"UIControl", factoryOf<Control>("UIControl")},
        {"UIButton", factoryOf<Button>("UIButton")},
        {"UISwitch", factoryOf<Switch>("UISwitch")},
        {"UITextField", factoryOf<TextField>("UITextField")},
        {"UILabel", factoryOf<Label>("UILabel")},
        {"UIImageView", factoryOf<ImageView>("UIImageView")},
        {"UIProgressView", factoryOf<ProgressView>("UIProgressView")},
        {"UIStackView", factoryOf<StackView>("UIStackView")},
        {"UIScrollView", factoryOf<ScrollView>("UIScrollView")},
        {"UITableView", factoryOf<TableView>("UITableView")},
        {"UICollectionView", factoryOf<CollectionView>("UICollectionView")},
        {"UITextView", factoryOf<TextView>("UITextView")},
        {"UITableViewCell", factoryOf<TableViewCell>("UITableViewCell")},
        {"UICollectionViewCell", factoryOf<CollectionViewCell>("UICollectionViewCell")},
    };
    return table;
}

// The transform from `from`'s coordinates to `to`'s: through their nearest common ancestor when they
// share a tree, through the screen (each root's own geometry) when they do not.
gfx::AffineTransform conversion(const View& from, const View& to, LayerTree tree) {
    std::vector<const View*> fromChain;
    std::vector<std::shared_ptr<View>> keepAlive;
    for (const View* v = &from; v;) {
        fromChain.push_back(v);
        keepAlive.push_back(v->superview());
        v = keepAlive.back().get();
    }
    const View* common = nullptr;
    std::vector<const View*> toChain;
    for (const View* v = &to; v;) {
        if (std::find(fromChain.begin(), fromChain.end(), v) != fromChain.end()) {
            common = v;
            break;
        }
        toChain.push_back(v);
        keepAlive.push_back(v->superview());
        v = keepAlive.back().get();
    }
    gfx::AffineTransform up;
    for (const View* v : fromChain) {
        if (v == common) {
            break;
        }
        up = up.concat(v->transformToSuperview(tree));
    }
    gfx::AffineTransform down;
    for (const View* v : toChain) {
        down = down.concat(v->transformToSuperview(tree));
    }
    return up.concat(down.inverted());
}

// The coordinate space a null view stands for: the window, or the root of a tree without one.
std::shared_ptr<const View> windowOrRoot(const View& view) {
    if (auto window = view.window()) {
        return window;
    }
    std::shared_ptr<const View> root = std::static_pointer_cast<const View>(view.shared_from_this());
    while (auto parent = root->superview()) {
        root = parent;
    }
    return root;
}

// Where the frame puts the anchor point; with the identity transform also the bounds size.
void placeFrame(LayerGeometry& geometry, const gfx::Rect& frame, gfx::Point anchor) {
    if (geometry.transform.isIdentity()) {
        geometry.bounds.size = frame.size;
    }
    geometry.position = {frame.origin.x + anchor.x * frame.size.width,
                         frame.origin.y + anchor.y * frame.size.height};
}

}  // namespace

std::shared_ptr<View> View::make(const std::string& className, const std::string& kindOf) {
    auto runtime = Runtime::shared();
    if (!runtime->isClassRegistered(className)) {
        runtime->registerClass(className, kindOf.empty() ? "UIView" : kindOf);
    }
    const auto& table = factories();
    for (const auto& name : runtime->classChain(className)) {
        if (auto factory = table.find(name); factory != table.end()) {
            return factory->second(className);
        }
    }
    platformLog("ui", "class " + className + " is not a kind of UIView; made a plain view of it");
    return std::make_shared<View>(className, "UIView");
}

std::shared_ptr<View> View::make(const gfx::Rect& frame, const std::string& className,
                                 const std::string& kindOf) {
    auto view = make(className, kindOf);
    view->setFrame(frame);
    return view;
}

View::View(std::string className, std::string_view kindOf) : Responder(std::move(className), kindOf) {}

View::~View() = default;

LayerGeometry& View::geometryFor(LayerTree tree) {
    return tree == LayerTree::Presentation && presentation_ ? *presentation_ : model_;
}

const LayerGeometry& View::geometryFor(LayerTree tree) const {
    return tree == LayerTree::Presentation && presentation_ ? *presentation_ : model_;
}

LayerGeometry View::layerGeometry(LayerTree tree) const {
    return geometryFor(tree);
}

gfx::AffineTransform View::transformToSuperview(LayerTree tree) const {
    const auto& g = geometryFor(tree);
    const double ax = g.bounds.origin.x + anchorPoint_.x * g.bounds.size.width;
    const double ay = g.bounds.origin.y + anchorPoint_.y * g.bounds.size.height;
    if (g.transform.isIdentity()) {
        return gfx::AffineTransform::makeTranslation(g.position.x - ax, g.position.y - ay);
    }
    return gfx::AffineTransform::makeTranslation(-ax, -ay)
        .concat(g.transform)
        .concat(gfx::AffineTransform::makeTranslation(g.position.x, g.position.y));
}

gfx::Rect View::frame(LayerTree tree) const {
    const auto& g = geometryFor(tree);
    if (g.transform.isIdentity()) {
        return {g.position.x - anchorPoint_.x * g.bounds.size.width,
                g.position.y - anchorPoint_.y * g.bounds.size.height, g.bounds.size.width,
                g.bounds.size.height};
    }
    return transformToSuperview(tree).apply(g.bounds);
}

void View::setFrame(const gfx::Rect& frame) {
    placeFrame(model_, frame, anchorPoint_);
}

gfx::Rect View::bounds(LayerTree tree) const {
    return geometryFor(tree).bounds;
}

void View::setBounds(const gfx::Rect& bounds) {
    model_.bounds = bounds;
}

gfx::Point View::center(LayerTree tree) const {
    return geometryFor(tree).position;
}

void View::setCenter(gfx::Point center) {
    model_.position = center;
}

gfx::AffineTransform View::transform(LayerTree tree) const {
    return geometryFor(tree).transform;
}

void View::setTransform(const gfx::AffineTransform& transform) {
    model_.transform = transform;
}

void View::setAnchorPoint(gfx::Point anchorPoint) {
    anchorPoint_ = anchorPoint;
}

void View::setPresentationFrame(const gfx::Rect& frame) {
    if (!presentation_) {
        presentation_ = model_;
    }
    placeFrame(*presentation_, frame, anchorPoint_);
}

void View::setPresentationTransform(const gfx::AffineTransform& transform) {
    if (!presentation_) {
        presentation_ = model_;
    }
    presentation_->transform = transform;
}

void View::setAlpha(double alpha) {
    alpha_ = std::clamp(alpha, 0.0, 1.0);
}

void View::drawRect(gfx::ImageContext& context, const gfx::Rect& rect) {
    if (drawCallback_) {
        drawCallback_(context, rect);
    }
}

std::shared_ptr<Window> View::window() const {
    auto parent = superview();
    return parent ? parent->window() : nullptr;
}

void View::addSubview(const std::shared_ptr<View>& view) {
    insertSubview(view, static_cast<long>(subviews_.size()));
}

void View::insertSubview(const std::shared_ptr<View>& view, long index) {
    if (!view) {
        return;
    }
    if (view.get() == this || isDescendantOfView(*view)) {
        platformLog("ui",
                    "a view cannot be added to itself or to one of its subviews: " + view->description());
        return;
    }
    auto oldWindow = view->window();
    const bool sameParent = view->superview().get() == this;
    if (sameParent) {
        subviews_.erase(std::find(subviews_.begin(), subviews_.end(), view));
    } else if (auto oldParent = view->superview()) {
        auto& siblings = oldParent->subviews_;
        siblings.erase(std::find(siblings.begin(), siblings.end(), view));
    }
    const long clamped = std::clamp(index, 0L, static_cast<long>(subviews_.size()));
    subviews_.insert(subviews_.begin() + clamped, view);
    view->superview_ = std::static_pointer_cast<View>(shared_from_this());
    if (!sameParent) {
        view->didMoveToSuperview();
        view->moveToWindow(oldWindow);
    }
}

void View::removeFromSuperview() {
    auto parent = superview();
    if (!parent) {
        return;
    }
    auto self = std::static_pointer_cast<View>(shared_from_this());
    auto oldWindow = window();
    auto& siblings = parent->subviews_;
    siblings.erase(std::find(siblings.begin(), siblings.end(), self));
    superview_.reset();
    didMoveToSuperview();
    moveToWindow(oldWindow);
}

void View::moveToWindow(const std::shared_ptr<Window>& oldWindow) {
    auto newWindow = window();
    if (newWindow == oldWindow) {
        return;
    }
    // A responder that left every window cannot keep the focus.
    if (!newWindow && isFirstResponder()) {
        Application::sharedApplication()->setFirstResponder(nullptr);
    }
    didMoveToWindow();
    for (const auto& subview : std::vector(subviews_)) {
        subview->moveToWindow(oldWindow);
    }
}

bool View::isDescendantOfView(const View& view) const {
    for (auto v = std::static_pointer_cast<const View>(shared_from_this()); v; v = v->superview()) {
        if (v.get() == &view) {
            return true;
        }
    }
    return false;
}

std::shared_ptr<Responder> View::nextResponder() const {
    if (auto controller = viewController()) {
        return controller;
    }
    return superview();
}

bool View::canTakeFocusNow() const {
    return window() != nullptr;
}

std::shared_ptr<View> View::hitTest(gfx::Point point, const std::shared_ptr<Event>& event) {
    if (!userInteractionEnabled_ || hidden_ || alpha_ < kMinimumHitTestAlpha || !pointInside(point, event)) {
        return nullptr;
    }
    for (auto it = subviews_.rbegin(); it != subviews_.rend(); ++it) {
        const auto toSubview = (*it)->transformToSuperview();
        if (!toSubview.isInvertible()) {
            continue;
        }
        if (auto hit = (*it)->hitTest(toSubview.inverted().apply(point), event)) {
            return hit;
        }
    }
    return std::static_pointer_cast<View>(shared_from_this());
}

bool View::pointInside(gfx::Point point, const std::shared_ptr<Event>&) const {
    return bounds().contains(point);
}

gfx::Point View::convertPoint(gfx::Point point, const std::shared_ptr<View>& toView, LayerTree tree) const {
    auto target = toView ? std::shared_ptr<const View>(toView) : windowOrRoot(*this);
    return conversion(*this, *target, tree).apply(point);
}

gfx::Point View::convertPointFromView(gfx::Point point, const std::shared_ptr<View>& fromView,
                                      LayerTree tree) const {
    auto source = fromView ? std::shared_ptr<const View>(fromView) : windowOrRoot(*this);
    return conversion(*source, *this, tree).apply(point);
}

gfx::Rect View::convertRect(const gfx::Rect& rect, const std::shared_ptr<View>& toView,
                            LayerTree tree) const {
    auto target = toView ? std::shared_ptr<const View>(toView) : windowOrRoot(*this);
    return conversion(*this, *target, tree).apply(rect);
}

gfx::Rect View::convertRectFromView(const gfx::Rect& rect, const std::shared_ptr<View>& fromView,
                                    LayerTree tree) const {
    auto source = fromView ? std::shared_ptr<const View>(fromView) : windowOrRoot(*this);
    return conversion(*source, *this, tree).apply(rect);
}

void View::addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer) {
    if (!recognizer) {
        return;
    }
    if (auto previous = recognizer->view()) {
        previous->removeGestureRecognizer(recognizer);
    }
    recognizers_.push_back(recognizer);
    recognizer->view_ = std::static_pointer_cast<View>(shared_from_this());
}

void View::removeGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer) {
    auto found = std::find(recognizers_.begin(), recognizers_.end(), recognizer);
    if (found == recognizers_.end()) {
        return;
    }
    recognizers_.erase(found);
    recognizer->view_.reset();
}

void View::addConstraint(const std::shared_ptr<LayoutConstraint>& constraint) {
    if (constraint && std::find(constraints_.begin(), constraints_.end(), constraint) == constraints_.end()) {
        constraints_.push_back(constraint);
    }
}

void View::removeConstraint(const std::shared_ptr<LayoutConstraint>& constraint) {
    std::erase(constraints_, constraint);
}

bool View::drawViewHierarchyInRect(const gfx::Rect& rect, bool afterScreenUpdates) {
    auto* context = gfx::currentContext();
    if (!context) {
        platformLog("ui", "drawViewHierarchyInRect: no current image context");
        return false;
    }
    const LayerTree tree = afterScreenUpdates ? LayerTree::Model : LayerTree::Presentation;
    const gfx::Rect own = bounds(tree);
    if (!(own.size.width > 0 && own.size.height > 0)) {
        return false;
    }
    context->saveGState();
    context->translateCTM(rect.origin.x, rect.origin.y);
    context->scaleCTM(rect.size.width / own.size.width, rect.size.height / own.size.height);
    context->translateCTM(-own.origin.x, -own.origin.y);
    ViewRenderer::render(*context, *this, tree);
    context->restoreGState();
    return true;
}

void View::renderInContext(gfx::ImageContext& context) {
    context.saveGState();
    ViewRenderer::render(context, *this, LayerTree::Model);
    context.restoreGState();
}

}  // namespace bdx::ui
