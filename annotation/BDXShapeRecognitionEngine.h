#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "annotation/BDXMatchingInfo.h"
#include "annotation/BDXRasterMask.h"
#include "annotation/BDXRecognizedShape.h"
#include "platform/gfx/Color.h"
#include "platform/gfx/Geometry.h"
#include "platform/gfx/Image.h"
#include "platform/gfx/Path.h"

// Tells whether a freehand stroke was meant as a circle, a rectangle or an arrow by template matching on
// a 28 by 28 raster: the stroke is normalised into the raster, ellipses, rectangles, arrows and a line
// are drawn into it at many widths and turns, and covered pixels are counted. Slow work: it belongs on a
// background queue, and the engine keeps no state between strokes.
//
// Two ways of counting give the same answers. Drawing draws every template together with the stroke
// and reads the composite's pixel words, 1,332 drawings a stroke. TemplateMasks draws each template
// once per process and the stroke twice per stroke, and counts by popcount over bit masks.
class BDXShapeRecognitionEngine {
  public:
    enum class MatchingMethod { TemplateMasks, Drawing };

    // Shape code, angle in degrees, the stroke's bounding rectangle and the fitted shape's rectangle, both
    // in the stroke's own coordinates.
    using ReturnBlock = std::function<void(BDXRecognizedShape shape, double angle,
                                           bdx::gfx::Rect boundingRect, bdx::gfx::Rect fittedRect)>;
    using ImageReturnBlock = std::function<void(const bdx::gfx::Image& image, unsigned long templatePixels)>;
    using PathRef = std::shared_ptr<bdx::gfx::Path>;

    explicit BDXShapeRecognitionEngine(MatchingMethod method = MatchingMethod::TemplateMasks);

    MatchingMethod matchingMethod() const { return method_; }

    // Recognises the stroke given in view coordinates and calls back exactly once, on the calling thread.
    // The drawing image is not looked at.
    void recognizeDrawing(const bdx::gfx::Image& image, const std::vector<bdx::gfx::Point>& points,
                          const ReturnBlock& withReturnBlock);

    // False when any coordinate is NaN.
    bool validPoints(const std::vector<bdx::gfx::Point>& points);
    // The angle snapped to a multiple of the step, halves rounding up; no wrap at 360.
    static double attachAngle(double angle, double toCloses);

    // The shared info of a stroke path: how many of its pixels lie in each half of the raster.
    BDXMatchingInfo userPathInfoFromPath(const bdx::gfx::Path& path);
    // The best template of one shape for the stroke path, by drawing each template with the stroke.
    BDXMatchingInfo matchingInfoForPath(const bdx::gfx::Path& path, int withShape,
                                        const BDXMatchingInfo& andSharedInfo);
    // Strokes the template, counts its pixels, then strokes the user's path over it in half-transparent
    // white and hands the composite image and the template's pixel count to the block. The stroke colour
    // given is not used: the composite's pixel words depend on that exact half white.
    void PimageFromUserPath(const bdx::gfx::Path& path, const bdx::gfx::Color& withColor, PathRef andRefPath,
                            const bdx::gfx::Color& refColor, const ImageReturnBlock& withReturnBlock);
    // The 784 premultiplied 0xAARRGGBB words of the image drawn at 28 by 28 (all zero for no image).
    std::unique_ptr<std::uint32_t[]> pixelValuesFromImage(const bdx::gfx::Image& image);

    // Opens and closes this thread's 28 by 28 drawing surface (scale 1, transparent).
    void initContext();
    void destroyContext();

    // One process-wide recursive lock, shared by all engines, around each use of the drawing surface.
    static std::recursive_mutex& lock();

    // The stroke path's pixels, drawn as the template matching draws it over a template.
    BDXRasterMask strokeMaskFromPath(const bdx::gfx::Path& path);
    // The pixels the weights of the shared info count.
    BDXRasterMask weightsMaskFromPath(const bdx::gfx::Path& path);
    static BDXMatchingInfo userPathInfoFromMask(const BDXRasterMask& weightsMask);
    // Same result as matchingInfoForPath, counted on the template masks.
    BDXMatchingInfo matchingInfoForStrokeMask(const BDXRasterMask& strokeMask, int withShape,
                                              const BDXMatchingInfo& andSharedInfo);
    // The raster of one template, drawn once per process and kept. Null outside the sweep of its shape.
    const BDXRasterMask* templateMask(int shape, int inset, int angle);

  private:
    // Draws the path alone on a fresh surface with antialiasing off, width 2 and the cap, and returns the
    // raster's words.
    std::unique_ptr<std::uint32_t[]> strokedPixels(const bdx::gfx::Path& path, bdx::gfx::LineCap cap,
                                                   const bdx::gfx::Color& color);

    MatchingMethod method_;
};
