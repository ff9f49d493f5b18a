#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/gfx/Color.h"
#include "platform/gfx/Geometry.h"
#include "platform/gfx/Image.h"
#include "platform/gfx/Path.h"

namespace bdx::gfx {

// The pixels per point of the main screen, used when an image context is opened with scale 0.
// Process-wide; the UI model sets it from its screen. 1 until set.
void setMainScreenScale(double scale);
double mainScreenScale();

// Compositing modes with the platform's numbering (17 is copy).
enum class BlendMode {
    Normal = 0,
    Multiply = 1,
    Screen = 2,
    Overlay = 3,
    Darken = 4,
    Lighten = 5,
    ColorDodge = 6,
    ColorBurn = 7,
    SoftLight = 8,
    HardLight = 9,
    Difference = 10,
    Exclusion = 11,
    Hue = 12,
    Saturation = 13,
    Color = 14,
    Luminosity = 15,
    Clear = 16,
    Copy = 17,
    SourceIn = 18,
    SourceOut = 19,
    SourceAtop = 20,
    DestinationOver = 21,
    DestinationIn = 22,
    DestinationOut = 23,
    DestinationAtop = 24,
    XOR = 25,
    PlusDarker = 26,
    PlusLighter = 27,
};

enum class InterpolationQuality { Default = 0, None = 1, Low = 2, Medium = 4, High = 3 };

// An offscreen bitmap drawing context in points, y down, origin at the top left: the image context
// of the platform and the drawing calls made on it. The graphics state (transform, clip, colours,
// line style, alpha, blend mode, antialiasing) is saved and restored as a stack.
//
// A transform step that leaves the transform impossible to invert (a zero scale, a view scaled to
// nothing) or holding a number that is not finite makes the graphics state singular, as the
// platform has it: nothing is painted, no path piece is added and clips take everything away, until
// the restore that takes that state off the stack. getCTM reads the singular transform back.
//
// A context whose size has no pixels (zero or negative, or not finite) is invalid: every call is
// ignored and the image it gives is null. One context is used from one thread at a time.
class ImageContext {
  public:
    // `opaque` drops the alpha channel (the bitmap starts black and every pixel stays opaque);
    // otherwise it starts fully transparent. `scale` 0 means mainScreenScale(). The bitmap has
    // ceil(size * scale) pixels on each side.
    ImageContext(Size size, bool opaque, double scale);
    ~ImageContext();
    ImageContext(ImageContext&&) noexcept;
    ImageContext& operator=(ImageContext&&) noexcept;
    ImageContext(const ImageContext&) = delete;
    ImageContext& operator=(const ImageContext&) = delete;

    bool isValid() const;
    Size size() const;
    double scale() const;
    bool isOpaque() const;
    int pixelWidth() const;
    int pixelHeight() const;

    // Graphics state.
    void saveGState();
    // Unbalanced restores are ignored (and logged).
    void restoreGState();
    void translateCTM(double tx, double ty);
    void scaleCTM(double sx, double sy);
    void rotateCTM(double angle);
    void concatCTM(const AffineTransform& t);
    // User space to points of the context (the scale of the bitmap is not included).
    AffineTransform getCTM() const;
    void setFillColor(const Color& c);
    void setStrokeColor(const Color& c);
    Color fillColor() const;
    Color strokeColor() const;
    void setLineWidth(double w);
    void setLineCap(LineCap cap);
    void setLineJoin(LineJoin join);
    void setMiterLimit(double limit);
    // Dash lengths in user points; empty for a solid line. Negative lengths, or only zeros, are
    // refused (logged) and leave the dash as it was.
    void setLineDash(double phase, const std::vector<double>& lengths);
    // The global alpha (replacing the previous one) that everything drawn afterwards is faded by.
    void setAlpha(double alpha);
    void setBlendMode(BlendMode mode);
    BlendMode blendMode() const;
    void setShouldAntialias(bool antialias);
    bool shouldAntialias() const;
    void setInterpolationQuality(InterpolationQuality q);

    // Drawing between begin and end goes to a fresh transparent layer, which end composites as one
    // picture under the alpha and blend mode in force at begin (so overlapping parts of a
    // half-transparent group do not show through each other). Inside the layer, alpha starts at 1
    // and the blend mode at normal. Layers nest; the graphics state is restored at end.
    void beginTransparencyLayer();
    // The same, for drawing known to stay inside `bounds` (user space): anything outside is
    // dropped, and the layer costs only the pixels of that area.
    void beginTransparencyLayerWithRect(const Rect& bounds);
    void endTransparencyLayer();

    // Rectangles and ellipses, in the current fill / stroke colour and line style.
    void fillRect(const Rect& r);
    void fillRects(const std::vector<Rect>& rects);
    void strokeRect(const Rect& r);
    void strokeRectWithWidth(const Rect& r, double width);
    // Makes the area transparent (black in an opaque context), through the transform and clip.
    void clearRect(const Rect& r);
    void fillEllipseInRect(const Rect& r);
    void strokeEllipseInRect(const Rect& r);
    // Pairs of points, each pair one segment.
    void strokeLineSegments(const std::vector<Point>& points);

    // The current path, built in user space and fixed by the transform in force when each piece is
    // added. Filling, stroking or clipping consumes it.
    void beginPath();
    void addPath(const Path& path);
    void moveToPoint(Point p);
    void addLineToPoint(Point p);
    void addRect(const Rect& r);
    void addEllipseInRect(const Rect& r);
    void closePath();
    bool isPathEmpty() const;
    void fillPath(FillRule rule = FillRule::NonZero);
    void strokePath();
    // Intersects the clip with the current path.
    void clip(FillRule rule = FillRule::NonZero);

    // The path object's own drawing: fill under its fill rule, stroke with its line width, cap,
    // join, miter limit and dash, each in the context's colours, alpha and blend mode. The
    // context's own line style is left as it was.
    void fill(const Path& path);
    void stroke(const Path& path);
    void fill(const Path& path, BlendMode mode, double alpha);
    void stroke(const Path& path, BlendMode mode, double alpha);
    // Intersects the clip with the path's filled area.
    void addClip(const Path& path);
    void clipToRect(const Rect& r);
    // The clip's bounding box in user space.
    Rect clipBoundingBox() const;

    // Draws the image shown (orientation applied) and stretched to fill the rectangle, in the
    // context's alpha and blend mode; the second form uses the given mode and alpha for this
    // drawing only. Null images draw nothing.
    void drawImage(const Image& image, const Rect& rect);
    void drawImage(const Image& image, const Rect& rect, BlendMode mode, double alpha);
    // At its display size in points with its top-left corner at the point.
    void drawImageAtPoint(const Image& image, Point p);

    // A snapshot of the bitmap with the context's scale, orientation Up. Drawing goes on afterwards.
    Image imageFromCurrentContext() const;
    // The bitmap itself as the image, without copying it; the context is invalid afterwards (the
    // way to finish a large capture).
    Image takeImage();
    // Pixel reads of the live bitmap, in pixels, premultiplied 0xAARRGGBB; 0 outside.
    std::uint32_t pixelAt(int x, int y) const;
    // Direct access to the live bitmap, valid until the next drawing call. In an opaque context the
    // alpha byte of these words is undefined (pixelAt and the image report it as 0xFF).
    const std::uint32_t* pixelData() const;
    std::size_t stride() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// The per-thread stack of current contexts, as the platform keeps it: begin makes a context and
// makes it current, end drops the current one. Contexts made elsewhere can be pushed and popped.
void beginImageContextWithOptions(Size size, bool opaque, double scale);
// The context on top of this thread's stack, or nullptr.
ImageContext* currentContext();
Image imageFromCurrentImageContext();
void endImageContext();
void pushContext(ImageContext& context);
void popContext();

}  // namespace bdx::gfx
