#include "annotation/BDXShapeRecognitionEngine.h"

#include <array>
#include <cmath>
#include <cstring>

#include "annotation/BDXGeomtryUtilities.h"
#include "annotation/BDXMathUtilities.h"
#include "foundation/Singleton.h"
#include "platform/gfx/ImageContext.h"

using bdx::gfx::Color;
using bdx::gfx::Image;
using bdx::gfx::LineCap;
using bdx::gfx::Path;
using bdx::gfx::Point;
using bdx::gfx::Rect;
using bdx::gfx::Size;

namespace {

constexpr int kSide = BDXRasterMask::kSide;
constexpr int kPixelCount = BDXRasterMask::kPixelCount;
constexpr double kLineWidth = 2.0;
constexpr Rect kRasterRect{0, 0, kSide, kSide};
// Where a stroke's points go before its path is fitted into the raster.
constexpr Size kNormalisedSize{26, 26};
constexpr Point kNormalisedCentroid{13, 13};

// The pixel words the counting recognises. They arise exactly only because antialiasing is off and the
// colours below are the ones drawn.
constexpr std::uint32_t kStrokePixel = 0xFFFF0000;             // the stroke alone, opaque red
constexpr std::uint32_t kTemplatePixel = 0xFF000000;           // template not covered by the stroke
constexpr std::uint32_t kSharedPixel = 0xFF808080;             // half white over the black template
constexpr std::uint32_t kStrokeOffTemplatePixel = 0x80808080;  // half white over nothing

constexpr Color kWeightsColor = Color::red();
constexpr Color kTemplateColor = Color::black();
// What callers hand in as the stroke colour (alpha 128/255), and what is drawn in its place.
constexpr Color kHandedStrokeColor = Color::white(1.0, 0.5019607843137255);
constexpr Color kDrawnStrokeColor = Color::white(1.0, 0.5);

// A result that offers no shape: no angle and no rectangles.
struct Recognition {
    BDXRecognizedShape shape = BDXRecognizedShapeNone;
    double angle = 0.0;
    Rect boundingRect;
    Rect fittedRect;
};

struct Candidate {
    Rect rect;
    double angle;
};

// The templates of one shape in sweep order: inset outermost, angle innermost, both upward. The order
// decides ties, since only a strictly larger overlap replaces the best so far.
std::vector<Candidate> sweepOfShape(int shape) {
    int lastInset = 0;
    double lastAngle = 175;
    switch (shape) {
        case BDXRecognizedShapeCircle:
        case BDXRecognizedShapeRectangle:
            lastInset = 10;
            break;
        case BDXRecognizedShapeArrow:
            lastInset = 6;
            lastAngle = 355;
            break;
        case BDXRecognizedShapeLine:
            break;
        default:
            return {};
    }
    std::vector<Candidate> sweep;
    for (int i = 0; i <= lastInset; ++i) {
        Rect rect;
        if (shape == BDXRecognizedShapeRectangle) {
            rect = Rect(i + 1, 1, 26 - 2 * i, 26);
        } else if (shape == BDXRecognizedShapeArrow) {
            rect = Rect(0, i, 28, 28 - 2 * i);
        } else {
            rect = Rect(i, 0, 28 - 2 * i, 28);
        }
        for (double angle = 0; angle <= lastAngle; angle += 5) {
            sweep.push_back({rect, angle});
        }
    }
    return sweep;
}

const std::vector<Candidate>& sweepFor(int shape) {
    static const std::array<std::vector<Candidate>, 4> sweeps = {sweepOfShape(0), sweepOfShape(1),
                                                                 sweepOfShape(2), sweepOfShape(3)};
    static const std::vector<Candidate> none;
    return shape >= 0 && shape < 4 ? sweeps[shape] : none;
}

// One candidate's record from its counts: O shared pixels, R template pixels the stroke missed, U stroke
// pixels off the template, T template pixels.
BDXMatchingInfo candidateInfo(const Candidate& candidate, unsigned long shared, unsigned long missed,
                              unsigned long offTemplate, unsigned long templateTotal,
                              const BDXMatchingInfo& sharedInfo) {
    BDXMatchingInfo info;
    info.setMatchRect(candidate.rect);
    info.setAngle(static_cast<std::int64_t>(candidate.angle));
    info.setValue(static_cast<std::int64_t>(shared));
    float strokeTotal = static_cast<float>(sharedInfo.topWeight() + sharedInfo.bottomWeight());
    info.setPathNotConsumedPercent(static_cast<float>(offTemplate) / strokeTotal);
    info.setRefPathNotConsumedPercent(static_cast<float>(missed) / static_cast<float>(templateTotal));
    // Whole-number division on purpose: missed never exceeds the total, so the first term is 1 as soon
    // as the stroke touches the template and 0 only when it misses it entirely.
    unsigned long touched = 1 - missed / templateTotal;
    info.setProbability(0.5f * (static_cast<float>(touched) +
                                static_cast<float>(shared) / static_cast<float>(templateTotal)));
    return info;
}

int countOf(const std::uint32_t* pixels, std::uint32_t word) {
    int count = 0;
    for (int i = 0; i < kPixelCount; ++i) {
        count += pixels[i] == word;
    }
    return count;
}

struct TemplateRaster {
    BDXRasterMask mask;
    unsigned long total = 0;
};

// Each shape's template rasters, drawn the first time a stroke needs them and kept for the process.
struct TemplateRasters {
    std::once_flag drawn;
    std::vector<TemplateRaster> rasters;
};

TemplateRasters& templateRastersOf(int shape) {
    return bdx::neverDestroyed<std::array<TemplateRasters, 4>>()[shape];
}

// Whether a 32-bit truncation of the value is defined.
bool fitsInt32(double value) {
    return std::fabs(value) < 2147483648.0;
}

}  // namespace

BDXShapeRecognitionEngine::BDXShapeRecognitionEngine(MatchingMethod method) : method_(method) {}

std::recursive_mutex& BDXShapeRecognitionEngine::lock() {
    return bdx::neverDestroyed<std::recursive_mutex, BDXShapeRecognitionEngine>();
}

void BDXShapeRecognitionEngine::initContext() {
    bdx::gfx::beginImageContextWithOptions(Size(kSide, kSide), false, 1.0);
}

void BDXShapeRecognitionEngine::destroyContext() {
    bdx::gfx::endImageContext();
}

bool BDXShapeRecognitionEngine::validPoints(const std::vector<Point>& points) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    for (const Point& p : points) {
        if (std::isnan(p.x) || std::isnan(p.y)) {
            return false;
        }
    }
    return true;
}

double BDXShapeRecognitionEngine::attachAngle(double angle, double toCloses) {
    double snapped = std::floor(angle / toCloses) * toCloses;
    if (!fitsInt32(angle) || !fitsInt32(toCloses)) {
        return snapped;
    }
    auto wholeAngle = static_cast<std::int32_t>(angle);
    auto wholeStep = static_cast<std::int32_t>(toCloses);
    if (wholeStep == 0) {
        return snapped;
    }
    std::int32_t remainder = wholeAngle % wholeStep;
    if (remainder >= toCloses / 2) {
        snapped += toCloses;
    }
    return snapped;
}

std::unique_ptr<std::uint32_t[]> BDXShapeRecognitionEngine::pixelValuesFromImage(const Image& image) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    auto pixels = std::make_unique<std::uint32_t[]>(kPixelCount);
    if (image.isNull()) {
        return pixels;
    }
    if (image.width() == kSide && image.height() == kSide &&
        image.orientation() == bdx::gfx::ImageOrientation::Up) {
        std::memcpy(pixels.get(), image.pixels(), kPixelCount * sizeof(std::uint32_t));
        return pixels;
    }
    initContext();
    if (bdx::gfx::ImageContext* context = bdx::gfx::currentContext()) {
        context->drawImage(image, kRasterRect);
        Image drawn = bdx::gfx::imageFromCurrentImageContext();
        if (!drawn.isNull() && drawn.pixelCount() == static_cast<std::size_t>(kPixelCount)) {
            std::memcpy(pixels.get(), drawn.pixels(), kPixelCount * sizeof(std::uint32_t));
        }
    }
    destroyContext();
    return pixels;
}

std::unique_ptr<std::uint32_t[]> BDXShapeRecognitionEngine::strokedPixels(const Path& path, LineCap cap,
                                                                          const Color& color) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    initContext();
    Image image;
    if (bdx::gfx::ImageContext* context = bdx::gfx::currentContext()) {
        context->setShouldAntialias(false);
        context->setLineCap(cap);
        context->setLineWidth(kLineWidth);
        context->setStrokeColor(color);
        context->addPath(path);
        context->strokePath();
        image = bdx::gfx::imageFromCurrentImageContext();
    }
    destroyContext();
    return pixelValuesFromImage(image);
}

BDXMatchingInfo BDXShapeRecognitionEngine::userPathInfoFromPath(const Path& path) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    std::unique_ptr<std::uint32_t[]> pixels = strokedPixels(path, LineCap::Butt, kWeightsColor);
    BDXMatchingInfo info;
    for (int i = 0; i < kPixelCount; ++i) {
        if (pixels[i] != kStrokePixel) {
            continue;
        }
        if (i < kPixelCount / 2) {
            info.setTopWeight(info.topWeight() + 1);
        } else {
            info.setBottomWeight(info.bottomWeight() + 1);
        }
        if (i % kSide < kSide / 2) {
            info.setLeftWeight(info.leftWeight() + 1);
        } else {
            info.setRightWeight(info.rightWeight() + 1);
        }
    }
    return info;
}

void BDXShapeRecognitionEngine::PimageFromUserPath(const Path& path, const Color& withColor,
                                                   PathRef andRefPath, const Color& refColor,
                                                   const ImageReturnBlock& withReturnBlock) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    // Read and set aside: the counting depends on the exact half white drawn below.
    (void)withColor;
    initContext();
    Image composite;
    unsigned long templateTotal = 0;
    if (bdx::gfx::ImageContext* context = bdx::gfx::currentContext()) {
        context->setShouldAntialias(false);
        context->setLineCap(LineCap::Round);
        context->setLineWidth(kLineWidth);
        context->setStrokeColor(refColor);
        if (andRefPath) {
            context->addPath(*andRefPath);
            context->strokePath();
        }
        Image templateOnly = bdx::gfx::imageFromCurrentImageContext();
        templateTotal = countOf(pixelValuesFromImage(templateOnly).get(), kTemplatePixel);
        context->setStrokeColor(kDrawnStrokeColor);
        context->addPath(path);
        context->strokePath();
        composite = bdx::gfx::imageFromCurrentImageContext();
    }
    destroyContext();
    if (withReturnBlock) {
        withReturnBlock(composite, templateTotal);
    }
    andRefPath.reset();
}

BDXMatchingInfo BDXShapeRecognitionEngine::matchingInfoForPath(const Path& path, int withShape,
                                                               const BDXMatchingInfo& andSharedInfo) {
    BDXMatchingInfo best;
    for (const Candidate& candidate : sweepFor(withShape)) {
        PathRef templatePath = BDXGeomtryUtilities::newSyntheizedPathInRect(candidate.rect, withShape,
                                                                            candidate.angle, kRasterRect);
        PimageFromUserPath(
            path, kHandedStrokeColor, std::move(templatePath), kTemplateColor,
            [&](const Image& composite, unsigned long templateTotal) {
                if (templateTotal == 0) {
                    return;
                }
                std::unique_ptr<std::uint32_t[]> pixels = pixelValuesFromImage(composite);
                BDXMatchingInfo info = candidateInfo(
                    candidate, countOf(pixels.get(), kSharedPixel), countOf(pixels.get(), kTemplatePixel),
                    countOf(pixels.get(), kStrokeOffTemplatePixel), templateTotal, andSharedInfo);
                if (info.value() > best.value()) {
                    best = info;
                }
            });
    }
    return best;
}

BDXRasterMask BDXShapeRecognitionEngine::strokeMaskFromPath(const Path& path) {
    // Over nothing, the half white gives its own word; over a template it would give the shared word.
    return BDXRasterMask::ofPixelsEqualTo(strokedPixels(path, LineCap::Round, kDrawnStrokeColor).get(),
                                          kStrokeOffTemplatePixel);
}

BDXRasterMask BDXShapeRecognitionEngine::weightsMaskFromPath(const Path& path) {
    return BDXRasterMask::ofPixelsEqualTo(strokedPixels(path, LineCap::Butt, kWeightsColor).get(),
                                          kStrokePixel);
}

BDXMatchingInfo BDXShapeRecognitionEngine::userPathInfoFromMask(const BDXRasterMask& weightsMask) {
    BDXMatchingInfo info;
    int total = weightsMask.count();
    int top = weightsMask.countAnd(BDXRasterMask::topHalf());
    int left = weightsMask.countAnd(BDXRasterMask::leftHalf());
    info.setTopWeight(top);
    info.setBottomWeight(total - top);
    info.setLeftWeight(left);
    info.setRightWeight(total - left);
    return info;
}

const BDXRasterMask* BDXShapeRecognitionEngine::templateMask(int shape, int inset, int angle) {
    const std::vector<Candidate>& sweep = sweepFor(shape);
    if (sweep.empty()) {
        return nullptr;
    }
    TemplateRasters& rasters = templateRastersOf(shape);
    std::call_once(rasters.drawn, [&] {
        rasters.rasters.reserve(sweep.size());
        for (const Candidate& candidate : sweep) {
            PathRef templatePath = BDXGeomtryUtilities::newSyntheizedPathInRect(candidate.rect, shape,
                                                                                candidate.angle, kRasterRect);
            TemplateRaster raster;
            if (templatePath) {
                raster.mask = BDXRasterMask::ofPixelsEqualTo(
                    strokedPixels(*templatePath, LineCap::Round, kTemplateColor).get(), kTemplatePixel);
                raster.total = static_cast<unsigned long>(raster.mask.count());
            }
            rasters.rasters.push_back(raster);
        }
    });
    // The sweep's rectangles are fixed by the inset, its angles step by 5 from 0.
    std::size_t anglesPerInset = 0;
    while (anglesPerInset < sweep.size() && sweep[anglesPerInset].rect == sweep.front().rect) {
        ++anglesPerInset;
    }
    if (inset < 0 || angle < 0 || angle % 5 != 0 || static_cast<std::size_t>(angle / 5) >= anglesPerInset) {
        return nullptr;
    }
    std::size_t index =
        static_cast<std::size_t>(inset) * anglesPerInset + static_cast<std::size_t>(angle / 5);
    return index < rasters.rasters.size() ? &rasters.rasters[index].mask : nullptr;
}

BDXMatchingInfo BDXShapeRecognitionEngine::matchingInfoForStrokeMask(const BDXRasterMask& strokeMask,
                                                                     int withShape,
                                                                     const BDXMatchingInfo& andSharedInfo) {
    BDXMatchingInfo best;
    const std::vector<Candidate>& sweep = sweepFor(withShape);
    if (sweep.empty() || !templateMask(withShape, 0, 0)) {
        return best;
    }
    const std::vector<TemplateRaster>& rasters = templateRastersOf(withShape).rasters;
    for (std::size_t i = 0; i < sweep.size(); ++i) {
        const TemplateRaster& raster = rasters[i];
        if (raster.total == 0) {
            continue;
        }
        auto shared = static_cast<unsigned long>(raster.mask.countAnd(strokeMask));
        // Cheap rejection: only a strictly larger overlap can replace the best.
        if (static_cast<std::int64_t>(shared) <= best.value()) {
            continue;
        }
        BDXMatchingInfo info = candidateInfo(
            sweep[i], shared, static_cast<unsigned long>(raster.mask.countAndNot(strokeMask)),
            static_cast<unsigned long>(strokeMask.countAndNot(raster.mask)), raster.total, andSharedInfo);
        best = info;
    }
    return best;
}

void BDXShapeRecognitionEngine::recognizeDrawing(const Image& image, const std::vector<Point>& points,
                                                 const ReturnBlock& withReturnBlock) {
    (void)image;
    Recognition result;
    try {
        using Geometry = BDXGeomtryUtilities;
        Rect bounds = Geometry::boundingRectForPoints(points);
        std::vector<Point> normalised = Geometry::translatePoints(
            Geometry::scalePoints(points, bounds.size, kNormalisedSize), kNormalisedCentroid);
        // A stroke without extent scales to NaN and ends here.
        PathRef strokePath = validPoints(normalised) ? Geometry::newPathFromPoints(normalised) : nullptr;
        if (strokePath) {
            std::function<BDXMatchingInfo(int)> match;
            BDXMatchingInfo sharedInfo;
            BDXRasterMask strokeMask;
            if (method_ == MatchingMethod::TemplateMasks) {
                sharedInfo = userPathInfoFromMask(weightsMaskFromPath(*strokePath));
                strokeMask = strokeMaskFromPath(*strokePath);
                match = [&](int shape) { return matchingInfoForStrokeMask(strokeMask, shape, sharedInfo); };
            } else {
                sharedInfo = userPathInfoFromPath(*strokePath);
                match = [&](int shape) { return matchingInfoForPath(*strokePath, shape, sharedInfo); };
            }

            BDXMatchingInfo winner;
            winner.setProbability(0.8);
            BDXRecognizedShape winningShape = BDXRecognizedShapeNone;
            std::int64_t winningAngle = 0;

            // The circle alone must clear 0.9; the later shapes need only beat the winner so far.
            BDXMatchingInfo circle = match(BDXRecognizedShapeCircle);
            if (circle.probability() > 0.9) {
                winner = circle;
                winningShape = BDXRecognizedShapeCircle;
                winningAngle = circle.angle();
            }
            BDXMatchingInfo rectangle = match(BDXRecognizedShapeRectangle);
            if (rectangle.probability() > winner.probability()) {
                winner = rectangle;
                winningShape = BDXRecognizedShapeRectangle;
                winningAngle = rectangle.angle();
            }
            BDXMatchingInfo arrow = match(BDXRecognizedShapeArrow);
            if (arrow.probability() > winner.probability()) {
                winner = arrow;
                winningShape = BDXRecognizedShapeArrow;
                // The arrow template points along +x; the annotation's arrow is a quarter turn from it.
                winningAngle = arrow.angle() + 90;
            }
            BDXMatchingInfo line = match(BDXRecognizedShapeLine);
            strokePath.reset();

            bool balancedInk = std::llabs(sharedInfo.topWeight() - sharedInfo.bottomWeight()) <= 9 &&
                               std::llabs(sharedInfo.rightWeight() - sharedInfo.leftWeight()) <= 9;
            bool plainLine = line.probability() > winner.probability() && balancedInk;
            bool looseFit =
                winner.pathNotConsumedPercent() > 0.35 || winner.refPathNotConsumedPercent() > 0.3;
            if (!plainLine && !looseFit) {
                result.shape = winningShape;
                result.boundingRect = Geometry::boundingRectForPoints(points);
                Rect& box = result.boundingRect;
                bdx::gfx::Size dims =
                    Geometry::dimsOfPoints(Geometry::translatePoints(points, Point::zero()));
                // The fitted rectangle is the shape before its turn: the longer side runs down when the
                // stroke is wider than high, and the annotation applies the angle to it.
                Rect fitted = dims.width > dims.height ? box.insetBy((box.size.width - dims.height) * 0.5,
                                                                     (box.size.height - dims.width) * 0.5)
                                                       : box.insetBy((box.size.width - dims.width) * 0.5,
                                                                     (box.size.height - dims.height) * 0.5);
                result.fittedRect = isClose(static_cast<float>(fitted.size.width), 0.0f) ? box : fitted;
                result.angle = attachAngle(static_cast<double>(winningAngle), 15.0);
            }
        }
    } catch (...) {
        result = Recognition{};
    }
    if (withReturnBlock) {
        withReturnBlock(result.shape, result.angle, result.boundingRect, result.fittedRect);
    }
}
