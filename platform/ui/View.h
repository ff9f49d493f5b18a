// Public header: installed with the library for hosts to include.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/gfx/Color.h"
#include "platform/gfx/Geometry.h"
#include "platform/ui/Responder.h"

namespace bdx::gfx {
class ImageContext;
}

namespace bdx::ui {

class GestureRecognizer;
class LayoutConstraint;
class ViewController;
class Window;

// The least alpha at which a view still takes touches.
inline constexpr double kMinimumHitTestAlpha = 0.01;

// Which state of a view's layer to read: the model, as last set, or the presentation, what the
// screen shows while an animation is moving the view.
enum class LayerTree { Model, Presentation };

// Where a layer sits in its superlayer: the position of its anchor point, its own coordinate space
// (bounds) and the transform applied about the anchor point.
struct LayerGeometry {
    gfx::Point position;
    gfx::Rect bounds;
    gfx::AffineTransform transform;
};

// A view of the host model: a class name with its chain of kinds, the geometry of its layer, its
// appearance, its place in the tree, and what the library reads off views (constraints, gesture
// recognizers, accessibility texts, variables). A view draws its background colour and its own
// drawing (drawRect, or a callback set by the host), then its subviews in order.
//
// Geometry follows the platform: `center` is the layer's position in the superview's bounds
// coordinates, the transform turns about the anchor point, and `frame` is the bounding box of the
// transformed bounds in the superview. A scroll view's content offset is its bounds origin.
//
// Views (like every object of the model) live in std::shared_ptr, made by make() or
// std::make_shared: the tree hands out shared references to them. Main thread only, like the rest of
// the model.
class View : public Responder {
  public:
    // A view of the class `className`. A class not known yet is registered as a kind of `kindOf`
    // ("UIView" when empty). The object made is of the model type of the nearest platform kind, so
    // View::make("MyTable", "UITableView") is a TableView.
    static std::shared_ptr<View> make(const std::string& className = "UIView",
                                      const std::string& kindOf = "");
    static std::shared_ptr<View> make(const gfx::Rect& frame, const std::string& className = "UIView",
                                      const std::string& kindOf = "");

    explicit View(std::string className = "UIView", std::string_view kindOf = "UIView");
    ~View() override;

    // Geometry.
    gfx::Rect frame(LayerTree tree = LayerTree::Model) const;
    // With the identity transform, sets the bounds size and moves the centre. With another
    // transform the result is the platform's undefined case: the anchor point goes where the frame
    // puts it and the bounds keep their size.
    virtual void setFrame(const gfx::Rect& frame);
    gfx::Rect bounds(LayerTree tree = LayerTree::Model) const;
    virtual void setBounds(const gfx::Rect& bounds);
    gfx::Point center(LayerTree tree = LayerTree::Model) const;
    void setCenter(gfx::Point center);
    gfx::AffineTransform transform(LayerTree tree = LayerTree::Model) const;
    void setTransform(const gfx::AffineTransform& transform);
    // The layer's anchor point in unit coordinates of its bounds, (0.5, 0.5) at first. Changing it
    // keeps the position, so the frame moves.
    gfx::Point anchorPoint() const { return anchorPoint_; }
    void setAnchorPoint(gfx::Point anchorPoint);
    LayerGeometry layerGeometry(LayerTree tree = LayerTree::Model) const;
    // The transform from this view's bounds coordinates to its superview's.
    gfx::AffineTransform transformToSuperview(LayerTree tree = LayerTree::Model) const;

    // A view in flight: while an animation moves it, the screen shows it at this frame (same rules
    // as setFrame) and the presentation tree reads it; the model keeps the destination.
    void setPresentationFrame(const gfx::Rect& frame);
    void setPresentationTransform(const gfx::AffineTransform& transform);
    // The animation is over: the presentation shows the model again.
    void removePresentation() { presentation_.reset(); }
    bool isInFlight() const { return presentation_.has_value(); }
    gfx::Rect presentationFrame() const { return frame(LayerTree::Presentation); }

    // Appearance.
    double alpha() const { return alpha_; }
    void setAlpha(double alpha);
    bool isHidden() const { return hidden_; }
    virtual void setHidden(bool hidden) { hidden_ = hidden; }
    bool isOpaque() const { return opaque_; }
    void setOpaque(bool opaque) { opaque_ = opaque; }
    bool clipsToBounds() const { return clipsToBounds_; }
    void setClipsToBounds(bool clips) { clipsToBounds_ = clips; }
    // Nothing (a clear view) until set.
    const std::optional<gfx::Color>& backgroundColor() const { return backgroundColor_; }
    void setBackgroundColor(std::optional<gfx::Color> color) { backgroundColor_ = color; }
    // The view's own drawing, in its bounds coordinates, after its background.
    using DrawCallback = std::function<void(gfx::ImageContext& context, const gfx::Rect& rect)>;
    void setDrawCallback(DrawCallback callback) { drawCallback_ = std::move(callback); }
    // Draws the view's own content; the default runs the draw callback.
    virtual void drawRect(gfx::ImageContext& context, const gfx::Rect& rect);

    // Behaviour and identity.
    bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
    void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
    bool autoresizesSubviews() const { return autoresizesSubviews_; }
    void setAutoresizesSubviews(bool autoresizes) { autoresizesSubviews_ = autoresizes; }
    bool translatesAutoresizingMaskIntoConstraints() const { return translatesAutoresizingMask_; }
    void setTranslatesAutoresizingMaskIntoConstraints(bool translates) {
        translatesAutoresizingMask_ = translates;
    }
    long tag() const { return tag_; }
    void setTag(long tag) { tag_ = tag; }
    // Nothing until set; an empty text is not nothing.
    const std::optional<std::string>& accessibilityLabel() const { return accessibilityLabel_; }
    void setAccessibilityLabel(std::optional<std::string> label) { accessibilityLabel_ = std::move(label); }
    const std::optional<std::string>& accessibilityIdentifier() const { return accessibilityIdentifier_; }
    void setAccessibilityIdentifier(std::optional<std::string> identifier) {
        accessibilityIdentifier_ = std::move(identifier);
    }

    // The tree.
    std::shared_ptr<View> superview() const { return superview_.lock(); }
    const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
    // The window the view is in (the view itself for a window), or nullptr.
    virtual std::shared_ptr<Window> window() const;
    // Adds on top of the other subviews; a view that has a superview leaves it first.
    void addSubview(const std::shared_ptr<View>& view);
    // Inserts at the index (clamped to the number of subviews).
    void insertSubview(const std::shared_ptr<View>& view, long index);
    void removeFromSuperview();
    bool isDescendantOfView(const View& view) const;
    // Told after the view moved to another superview (or none) or into another window.
    virtual void didMoveToSuperview() {}
    virtual void didMoveToWindow() {}

    // The controller whose view this is, if any; it is the view's next responder.
    std::shared_ptr<ViewController> viewController() const { return viewController_.lock(); }
    std::shared_ptr<Responder> nextResponder() const override;

    // Hit-testing in the view's bounds coordinates: the deepest visible, interactive view under the
    // point, later subviews first; nullptr when the point is outside or the view takes no touches.
    // As on the platform, a hidden view, one with user interaction off, and one whose alpha is below
    // kMinimumHitTestAlpha (0.01 itself still takes touches) takes none, nor does its subtree.
    virtual std::shared_ptr<View> hitTest(gfx::Point point, const std::shared_ptr<Event>& event);
    virtual bool pointInside(gfx::Point point, const std::shared_ptr<Event>& event) const;

    // Coordinate conversion between views, honouring every transform and anchor point on the way.
    // A null view stands for the window's coordinates. Views of different windows meet in screen
    // coordinates. The tree chooses model or presentation geometry on both sides.
    gfx::Point convertPoint(gfx::Point point, const std::shared_ptr<View>& toView,
                            LayerTree tree = LayerTree::Model) const;
    gfx::Point convertPointFromView(gfx::Point point, const std::shared_ptr<View>& fromView,
                                    LayerTree tree = LayerTree::Model) const;
    // The bounding box of the converted corners.
    gfx::Rect convertRect(const gfx::Rect& rect, const std::shared_ptr<View>& toView,
                          LayerTree tree = LayerTree::Model) const;
    gfx::Rect convertRectFromView(const gfx::Rect& rect, const std::shared_ptr<View>& fromView,
                                  LayerTree tree = LayerTree::Model) const;

    // Gesture recognizers attached to the view, in the order added.
    const std::vector<std::shared_ptr<GestureRecognizer>>& gestureRecognizers() const { return recognizers_; }
    void addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
    void removeGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);

    // Layout constraints held by the view, in the order added (the model does not solve them).
    const std::vector<std::shared_ptr<LayoutConstraint>>& constraints() const { return constraints_; }
    void addConstraint(const std::shared_ptr<LayoutConstraint>& constraint);
    void removeConstraint(const std::shared_ptr<LayoutConstraint>& constraint);

    // Drawing. Draws the view and its subtree, in its bounds coordinates scaled to fill `rect`, into
    // the current image context: what the screen shows (the presentation tree), or with
    // `afterScreenUpdates` the model as last set. A rectangle of no area paints nothing. False when
    // there is no current context or the view has no area.
    bool drawViewHierarchyInRect(const gfx::Rect& rect, bool afterScreenUpdates);
    // Draws the layer tree of the model in the layer's own coordinate space (bounds coordinates, not
    // moved by the bounds origin), as the platform's renderInContext: does.
    void renderInContext(gfx::ImageContext& context);

  protected:
    // A view takes the focus only inside a window.
    bool canTakeFocusNow() const override;

  private:
    friend class ViewController;
    friend class Window;

    LayerGeometry& geometryFor(LayerTree tree);
    const LayerGeometry& geometryFor(LayerTree tree) const;
    void moveToWindow(const std::shared_ptr<Window>& oldWindow);
    void setViewController(const std::shared_ptr<ViewController>& controller) {
        viewController_ = controller;
    }

    LayerGeometry model_;
    std::optional<LayerGeometry> presentation_;
    gfx::Point anchorPoint_{0.5, 0.5};
    double alpha_ = 1.0;
    bool hidden_ = false;
    bool opaque_ = true;
    bool clipsToBounds_ = false;
    bool userInteractionEnabled_ = true;
    bool autoresizesSubviews_ = true;
    bool translatesAutoresizingMask_ = true;
    long tag_ = 0;
    std::optional<gfx::Color> backgroundColor_;
    DrawCallback drawCallback_;
    std::optional<std::string> accessibilityLabel_;
    std::optional<std::string> accessibilityIdentifier_;
    std::weak_ptr<View> superview_;
    std::vector<std::shared_ptr<View>> subviews_;
    std::weak_ptr<ViewController> viewController_;
    std::vector<std::shared_ptr<GestureRecognizer>> recognizers_;
    std::vector<std::shared_ptr<LayoutConstraint>> constraints_;
};

}  // namespace bdx::ui
