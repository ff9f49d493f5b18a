#include "platform/gfx/ImageContext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <numbers>
#include <thread>
#include <utility>
#include <vector>

#include "tests/platform/PixelTestSupport.h"

namespace bdx::gfx {
namespace {

using namespace test;

constexpr double kPi = std::numbers::pi;

// A clear context at scale 1 with antialiasing off, so that edges land on exact pixels.
ImageContext sharp(double width, double height) {
    ImageContext ctx({width, height}, false, 1);
    ctx.setShouldAntialias(false);
    return ctx;
}

TEST(ImageContextSetup, SizeScaleAndInitialContent) {
    ImageContext clear({10, 5}, false, 2);
    ASSERT_TRUE(clear.isValid());
    EXPECT_EQ(clear.pixelWidth(), 20);
    EXPECT_EQ(clear.pixelHeight(), 10);
    EXPECT_EQ(histogram(clear), (std::map<std::uint32_t, int>{{0u, 200}}));

    ImageContext opaque({3, 3}, true, 1);
    EXPECT_EQ(histogram(opaque), (std::map<std::uint32_t, int>{{kBlack, 9}}));
    // Clearing an opaque bitmap leaves black, never transparency.
    opaque.setFillColor(Color::white());
    opaque.fillRect({0, 0, 3, 3});
    opaque.clearRect({0, 0, 1, 3});
    EXPECT_EQ(opaque.pixelAt(0, 1), kBlack);
    EXPECT_EQ(opaque.pixelAt(2, 1), kWhite);
    EXPECT_EQ(opaque.imageFromCurrentContext().pixelAt(0, 0), kBlack);
    EXPECT_TRUE(opaque.imageFromCurrentContext().isOpaque());

    // Fractional sizes round up to whole pixels.
    EXPECT_EQ(ImageContext({10.2, 1}, false, 1).pixelWidth(), 11);
}

TEST(ImageContextSetup, TakingTheImageEndsTheContext) {
    ImageContext ctx({2, 2}, true, 2);
    ctx.setFillColor(Color::red());
    ctx.fillRect({0, 0, 1, 1});
    const Image snapshot = ctx.imageFromCurrentContext();
    ctx.fillRect({1, 1, 1, 1});
    const Image taken = ctx.takeImage();
    EXPECT_FALSE(ctx.isValid());
    EXPECT_TRUE(ctx.takeImage().isNull());
    ASSERT_EQ(taken.width(), 4);
    EXPECT_EQ(taken.scale(), 2);
    EXPECT_EQ(taken.pixelAt(0, 0), kRed);
    EXPECT_EQ(taken.pixelAt(3, 3), kRed);
    // Opaque: the unused alpha byte reads as full.
    EXPECT_EQ(taken.pixelAt(3, 0), kBlack);
    // The earlier snapshot did not see later drawing.
    EXPECT_EQ(snapshot.pixelAt(3, 3), kBlack);
}

TEST(ImageContextSetup, ScaleZeroTakesTheMainScreenScale) {
    setMainScreenScale(3);
    ImageContext ctx({4, 4}, false, 0);
    setMainScreenScale(1);
    EXPECT_EQ(ctx.scale(), 3);
    EXPECT_EQ(ctx.pixelWidth(), 12);
    EXPECT_EQ(ctx.imageFromCurrentContext().scale(), 3);
    // Nonsense scales are refused and leave the setting alone.
    setMainScreenScale(-2);
    EXPECT_EQ(mainScreenScale(), 1);
}

TEST(ImageContextTransform, RotateAndConcatOrder) {
    // A quarter turn takes +x to +y: the 10x5 rectangle stands upright left of x=30.
    ImageContext rot = sharp(40, 40);
    rot.setFillColor(Color::blue());
    rot.translateCTM(30, 0);
    rot.rotateCTM(kPi / 2);
    rot.fillRect({0, 0, 10, 5});
    EXPECT_EQ(rot.pixelAt(27, 5), kBlue);
    EXPECT_EQ(rot.pixelAt(25, 9), kBlue);
    EXPECT_EQ(rot.pixelAt(31, 5), 0u);
    EXPECT_EQ(rot.pixelAt(27, 11), 0u);

    // Each concatenation applies before what was there: translate then scale scales first.
    ImageContext cat = sharp(40, 40);
    cat.concatCTM(AffineTransform::makeTranslation(10, 0));
    cat.concatCTM(AffineTransform::makeScale(2, 2));
    EXPECT_EQ(cat.getCTM(), (AffineTransform{2, 0, 0, 2, 10, 0}));
    cat.fillRect({1, 1, 1, 1});
    EXPECT_EQ(cat.pixelAt(12, 2), kBlack);
    EXPECT_EQ(cat.pixelAt(13, 3), kBlack);
    EXPECT_EQ(cat.pixelAt(11, 2), 0u);
    EXPECT_EQ(cat.pixelAt(14, 3), 0u);
}

TEST(ImageContextState, RestoreBringsBackTransformColourClipAndStyle) {
    ImageContext ctx = sharp(20, 20);
    ctx.saveGState();
    ctx.setFillColor(Color::red());
    ctx.translateCTM(5, 5);
    ctx.clipToRect({0, 0, 2, 2});
    ctx.setAlpha(0.25);
    ctx.setBlendMode(BlendMode::Copy);
    ctx.setShouldAntialias(true);
    ctx.restoreGState();
    EXPECT_EQ(ctx.fillColor(), Color::black());
    EXPECT_TRUE(ctx.getCTM().isIdentity());
    EXPECT_EQ(ctx.blendMode(), BlendMode::Normal);
    EXPECT_FALSE(ctx.shouldAntialias());
    ctx.fillRect({0, 0, 20, 20});
    EXPECT_EQ(histogram(ctx), (std::map<std::uint32_t, int>{{kBlack, 400}}));
    // A restore with nothing saved changes nothing.
    ctx.setFillColor(Color::green());
    ctx.restoreGState();
    EXPECT_EQ(ctx.fillColor(), Color::green());
}

TEST(ImageContextClip, RectangleClipUnderTransformAndNesting) {
    ImageContext ctx = sharp(30, 30);
    ctx.saveGState();
    ctx.translateCTM(10, 10);
    ctx.clipToRect({0, 0, 10, 5});
    ctx.saveGState();
    // Clips only ever shrink: a second, overlapping clip leaves the common part.
    ctx.clipToRect({5, -10, 20, 30});
    ctx.setFillColor(Color::red());
    ctx.fillRect({-100, -100, 200, 200});
    ctx.restoreGState();
    EXPECT_EQ(ctx.clipBoundingBox(), (Rect{0, 0, 10, 5}));
    ctx.restoreGState();
    EXPECT_EQ(countOf(ctx.imageFromCurrentContext(), kRed), 25);
    EXPECT_EQ(ctx.pixelAt(15, 10), kRed);
    EXPECT_EQ(ctx.pixelAt(19, 14), kRed);
    EXPECT_EQ(ctx.pixelAt(14, 10), 0u);
    EXPECT_EQ(ctx.pixelAt(20, 10), 0u);
    EXPECT_EQ(ctx.pixelAt(15, 15), 0u);
    // Once restored, the whole bitmap takes paint again.
    ctx.fillRect({0, 0, 1, 1});
    EXPECT_EQ(ctx.pixelAt(0, 0), kBlack);
}

TEST(ImageContextAlpha, GlobalAlphaAndColourAlphaMultiply) {
    ImageContext ctx({4, 1}, false, 1);
    ctx.setFillColor(Color::red());
    ctx.setAlpha(0.5);
    ctx.fillRect({0, 0, 1, 1});
    EXPECT_EQ(ctx.pixelAt(0, 0), 0x80800000u);
    ctx.setFillColor(Color::red().withAlpha(0.5));
    ctx.fillRect({1, 0, 1, 1});
    EXPECT_TRUE(channelsNear(ctx.pixelAt(1, 0), 0x40400000u, 1)) << std::hex << ctx.pixelAt(1, 0);

    // Half red over opaque white.
    ImageContext over({1, 1}, false, 1);
    over.setFillColor(Color::white());
    over.fillRect({0, 0, 1, 1});
    over.setFillColor(Color::red());
    over.setAlpha(0.5);
    over.fillRect({0, 0, 1, 1});
    EXPECT_TRUE(channelsNear(over.pixelAt(0, 0), 0xFFFF7F7Fu, 1)) << std::hex << over.pixelAt(0, 0);
}

TEST(ImageContextAlpha, TransparencyLayerCompositesTheGroupOnce) {
    // Two overlapping opaque squares drawn at half alpha: without a layer the overlap is darker,
    // inside a layer the group is faded as one picture.
    auto draw = [](bool layer) {
        ImageContext ctx({3, 1}, false, 1);
        ctx.setAlpha(0.5);
        if (layer) {
            ctx.beginTransparencyLayer();
        }
        ctx.setFillColor(Color::blue());
        ctx.fillRect({0, 0, 2, 1});
        ctx.fillRect({1, 0, 2, 1});
        if (layer) {
            ctx.endTransparencyLayer();
        }
        return ctx.imageFromCurrentContext();
    };
    const Image plain = draw(false);
    EXPECT_EQ(plain.pixelAt(0, 0), 0x80000080u);
    EXPECT_TRUE(channelsNear(plain.pixelAt(1, 0), 0xBF0000BFu, 1)) << std::hex << plain.pixelAt(1, 0);
    const Image grouped = draw(true);
    EXPECT_EQ(grouped.pixelAt(0, 0), 0x80000080u);
    EXPECT_EQ(grouped.pixelAt(1, 0), 0x80000080u);
    EXPECT_EQ(grouped.pixelAt(2, 0), 0x80000080u);
}

TEST(ImageContextAntialias, OffGivesOnlyExactColours) {
    Path path;
    path.moveTo({3.3, 4.1});
    path.curveTo({24.7, 20.2}, {10, 27}, {20, -3});
    path.lineTo({5.5, 22.9});
    path.addEllipseInRect({4.2, 3.7, 11.1, 7.3});

    ImageContext ctx = sharp(28, 28);
    ctx.setStrokeColor(Color::red());
    ctx.setLineWidth(2);
    ctx.addPath(path);
    ctx.strokePath();
    ctx.setFillColor(Color::green());
    ctx.fillEllipseInRect({15.3, 15.1, 9.9, 7.7});
    auto h = histogram(ctx);
    EXPECT_EQ(h.size(), 3u);
    EXPECT_GT(h[kRed], 40);
    EXPECT_GT(h[kGreen], 30);

    // With antialiasing on, the same drawing leaves partly covered edge pixels.
    ImageContext smooth({28, 28}, false, 1);
    smooth.setStrokeColor(Color::red());
    smooth.setLineWidth(2);
    smooth.addPath(path);
    smooth.strokePath();
    EXPECT_GT(histogram(smooth).size(), 3u);
}

TEST(ImageContextAntialias, StrokeOverStrokeGivesTheFourOverlapClasses) {
    // An opaque black template stroke, then a half-white stroke across it: pixels on both, on the
    // template only, on the second stroke only, and on neither, with no blended edge values.
    ImageContext ctx = sharp(28, 28);
    ctx.setLineCap(LineCap::Round);
    ctx.setLineWidth(2);
    ctx.setStrokeColor(Color::black());
    ctx.addPath(Path::withOvalInRect({3, 3, 22, 22}));
    ctx.strokePath();
    const int templatePixels = countOf(ctx.imageFromCurrentContext(), kBlack);
    ctx.setStrokeColor(Color::white(1, 0.5));
    Path cross;
    cross.moveTo({0, 14});
    cross.lineTo({28, 14});
    ctx.addPath(cross);
    ctx.strokePath();
    auto h = histogram(ctx);
    EXPECT_EQ(h.size(), 4u);
    EXPECT_GT(h[0xFF808080u], 0);
    EXPECT_GT(h[0x80808080u], 0);
    EXPECT_GT(h[0xFF000000u], 0);
    EXPECT_GT(h[0u], 0);
    EXPECT_EQ(h[0xFF808080u] + h[0xFF000000u], templatePixels);
}

TEST(ImageContextStroke, TwoPixelLineCoversTwoRowsAndCapsExtendIt) {
    // A horizontal line from x=5 to x=15 along y=10, two points wide, antialiasing off.
    auto draw = [](LineCap cap) {
        ImageContext ctx = sharp(28, 28);
        ctx.setLineCap(cap);
        ctx.setLineWidth(2);
        ctx.strokeLineSegments({{5, 10}, {15, 10}});
        return ctx.imageFromCurrentContext();
    };
    const Image butt = draw(LineCap::Butt);
    const Image round = draw(LineCap::Round);
    const Image square = draw(LineCap::Square);
    // Butt: exactly the 10x2 rectangle [5,15] x [9,11].
    EXPECT_EQ(countOf(butt, kBlack), 20);
    EXPECT_EQ(butt.pixelAt(5, 9), kBlack);
    EXPECT_EQ(butt.pixelAt(14, 10), kBlack);
    EXPECT_EQ(butt.pixelAt(4, 9), 0u);
    EXPECT_EQ(butt.pixelAt(15, 10), 0u);
    // Square: half the width more at each end.
    EXPECT_EQ(countOf(square, kBlack), 24);
    EXPECT_EQ(square.pixelAt(4, 9), kBlack);
    EXPECT_EQ(square.pixelAt(15, 10), kBlack);
    // Round: the caps add pixels beyond the ends, never more than the square caps do.
    EXPECT_GT(countOf(round, kBlack), countOf(butt, kBlack));
    EXPECT_LE(countOf(round, kBlack), countOf(square, kBlack));
    EXPECT_EQ(round.pixelAt(4, 9), kBlack);
}

TEST(ImageContextStroke, DashesAndBadInputThatMustNotStopDrawing) {
    ImageContext ctx = sharp(12, 1);
    ctx.setLineDash(0, {2, 2});
    ctx.strokeLineSegments({{0, 0.5}, {12, 0.5}});
    const std::uint32_t expected[] = {kBlack, kBlack, 0, 0, kBlack, kBlack, 0, 0, kBlack, kBlack, 0, 0};
    for (int x = 0; x < 12; ++x) {
        EXPECT_EQ(ctx.pixelAt(x, 0), expected[x]) << x;
    }
    // Refused without harm: a dash of zeros, a negative length. Drawing still works afterwards,
    // solid and unmoved, also after a transform that could not be applied has been restored away.
    ctx.setLineDash(0, {0, 0});
    ctx.setLineDash(0, {-1, 2});
    ctx.saveGState();
    ctx.translateCTM(std::nan(""), 0);
    ctx.restoreGState();
    ctx.clearRect({0, 0, 12, 1});
    ctx.setLineDash(0, {});
    ctx.strokeLineSegments({{0, 0.5}, {12, 0.5}});
    EXPECT_EQ(countOf(ctx.imageFromCurrentContext(), kBlack), 12);
}

// Transforms that cannot be inverted (or hold a non-finite number): whatever is drawn under them
// must leave no pixel, until the restore that matches the save before them.
TEST(ImageContextSingularTransform, NothingIsPaintedUntilTheMatchingRestore) {
    const std::vector<std::pair<const char*, std::function<void(ImageContext&)>>> singular = {
        {"concat of zeros",
         [](ImageContext& c) {
             c.concatCTM({0, 0, 0, 0, 1, 1});
         }},
        {"concat of dependent columns",
         [](ImageContext& c) {
             c.concatCTM({1, 2, 2, 4, 0, 0});
         }},
        {"scale 0 in x", [](ImageContext& c) { c.scaleCTM(0, 1); }},
        {"scale too small to invert", [](ImageContext& c) { c.scaleCTM(1e-200, 1e-200); }},
        {"non-finite translation", [](ImageContext& c) { c.translateCTM(std::nan(""), 0); }},
        {"infinite scale", [](ImageContext& c) { c.scaleCTM(std::numeric_limits<double>::infinity(), 1); }},
    };
    const Image stamp = Image::filled(2, 2, kGreen);
    for (const auto& [name, apply] : singular) {
        SCOPED_TRACE(name);
        ImageContext ctx = sharp(8, 8);
        ctx.setFillColor(Color::blue());
        ctx.fillRect({0, 0, 8, 8});
        ctx.saveGState();
        apply(ctx);
        // Later steps cannot bring an invertible transform back, nor can a nested save/restore.
        ctx.translateCTM(3, 3);
        ctx.scaleCTM(2, 2);
        ctx.saveGState();
        ctx.restoreGState();
        ctx.setFillColor(Color::red());
        ctx.fillRect({0, 0, 4, 4});
        ctx.fillEllipseInRect({0, 0, 4, 4});
        ctx.strokeRectWithWidth({0, 0, 4, 4}, 2);
        ctx.strokeLineSegments({{0, 0}, {4, 4}});
        ctx.moveToPoint({0, 0});
        ctx.addLineToPoint({4, 0});
        ctx.addLineToPoint({4, 4});
        ctx.fillPath();
        Path path = Path::withRect({0, 0, 4, 4});
        ctx.fill(path);
        ctx.stroke(path);
        ctx.drawImage(stamp, {0, 0, 4, 4});
        ctx.clearRect({0, 0, 4, 4});
        // A layer laid down in copy mode would erase the area if its empty picture were composited.
        ctx.setBlendMode(BlendMode::Copy);
        ctx.beginTransparencyLayer();
        ctx.endTransparencyLayer();
        ctx.setBlendMode(BlendMode::Normal);
        // The current path outlives the restore; a piece added under the singular transform covers
        // nothing there either.
        ctx.addRect({0, 0, 4, 4});
        EXPECT_EQ(histogram(ctx), (std::map<std::uint32_t, int>{{kBlue, 64}}));

        ctx.restoreGState();
        ctx.fillPath();
        EXPECT_EQ(histogram(ctx), (std::map<std::uint32_t, int>{{kBlue, 64}}));
        ctx.setFillColor(Color::red());
        ctx.fillRect({0, 0, 2, 2});
        EXPECT_EQ(ctx.pixelAt(1, 1), kRed) << "drawing resumes after the restore";
        EXPECT_EQ(ctx.pixelAt(2, 2), kBlue) << "and in the space saved before the singular step";
        EXPECT_EQ(ctx.getCTM(), AffineTransform());
    }
}

TEST(ImageContextSingularTransform, TheTransformReadBackIsTheSingularOne) {
    ImageContext ctx({10, 10}, false, 2);
    ctx.saveGState();
    ctx.translateCTM(5, 6);
    ctx.scaleCTM(0, 3);
    EXPECT_EQ(ctx.getCTM(), (AffineTransform{0, 0, 0, 3, 5, 6}));
    ctx.translateCTM(1, 1);
    EXPECT_EQ(ctx.getCTM(), (AffineTransform{0, 0, 0, 3, 5, 9}));
    ctx.restoreGState();
    EXPECT_EQ(ctx.getCTM(), AffineTransform());
    // A transparency layer opened before the singular step still lays down what was drawn in it.
    ctx.setShouldAntialias(false);
    ctx.setFillColor(Color::red());
    ctx.beginTransparencyLayer();
    ctx.fillRect({0, 0, 5, 5});
    ctx.concatCTM({0, 0, 0, 0, 0, 0});
    ctx.fillRect({5, 5, 5, 5});
    ctx.endTransparencyLayer();
    ctx.fillRect({5, 0, 5, 5});
    EXPECT_EQ(ctx.pixelAt(2, 2), kRed);
    EXPECT_EQ(ctx.pixelAt(15, 15), 0u);
    EXPECT_EQ(ctx.pixelAt(15, 2), kRed) << "the layer's end took the singular state with it";
}

TEST(ImageContextFill, NonZeroAndEvenOddRules) {
    Path nested;
    nested.addRect({0, 0, 10, 10});
    nested.addRect({3, 3, 4, 4});
    ImageContext ctx = sharp(10, 10);
    ctx.addPath(nested);
    ctx.fillPath(FillRule::NonZero);
    EXPECT_EQ(ctx.pixelAt(5, 5), kBlack);
    ctx.clearRect({0, 0, 10, 10});
    nested.setUsesEvenOddFillRule(true);
    ctx.fill(nested);
    EXPECT_EQ(ctx.pixelAt(5, 5), 0u);
    EXPECT_EQ(ctx.pixelAt(1, 1), kBlack);
    EXPECT_EQ(countOf(ctx.imageFromCurrentContext(), kBlack), 100 - 16);
}

TEST(ImageContextBlend, CopyReplacesPixelsAndNormalBlends) {
    ImageContext ctx({4, 1}, false, 1);
    ctx.setFillColor(Color::blue());
    ctx.fillRect({0, 0, 4, 1});
    ctx.setFillColor(Color::red().withAlpha(0.5));
    ctx.fillRect({0, 0, 1, 1});
    ctx.setBlendMode(BlendMode::Copy);
    ctx.fillRect({1, 0, 1, 1});
    ctx.setFillColor(Color::clear());
    ctx.fillRect({2, 0, 1, 1});
    EXPECT_TRUE(channelsNear(ctx.pixelAt(0, 0), 0xFF80007Fu, 1)) << std::hex << ctx.pixelAt(0, 0);
    EXPECT_EQ(ctx.pixelAt(1, 0), 0x80800000u);
    EXPECT_EQ(ctx.pixelAt(2, 0), 0u);
    EXPECT_EQ(ctx.pixelAt(3, 0), kBlue);
}

TEST(ImageContextBlend, ImageDrawnWithCopyReplacesAndModesStayInsideTheImage) {
    // A half-transparent image over opaque green.
    const Image half = Image::filled(2, 2, 0x80800000u);
    ImageContext ctx({4, 2}, false, 1);
    ctx.setFillColor(Color::green());
    ctx.fillRect({0, 0, 4, 2});
    ctx.drawImage(half, {0, 0, 2, 2}, BlendMode::Copy, 1.0);
    EXPECT_EQ(ctx.pixelAt(0, 0), 0x80800000u);
    EXPECT_EQ(ctx.pixelAt(1, 1), 0x80800000u);
    EXPECT_EQ(ctx.pixelAt(2, 0), kGreen);
    // The alpha of a copied image fades the image itself, not its coverage.
    ctx.drawImage(Image::filled(2, 2, kRed), {2, 0, 2, 2}, BlendMode::Copy, 0.5);
    EXPECT_EQ(ctx.pixelAt(3, 1), 0x80800000u);
    // Destination-in keeps the destination where the source is and leaves the rest untouched.
    ImageContext mask({4, 1}, false, 1);
    mask.setFillColor(Color::green());
    mask.fillRect({0, 0, 4, 1});
    mask.drawImage(Image::filled(1, 1, 0x80000000u), {0, 0, 2, 1}, BlendMode::DestinationIn, 1.0);
    EXPECT_EQ(mask.pixelAt(0, 0), 0x80008000u);
    EXPECT_EQ(mask.pixelAt(3, 0), kGreen);
}

TEST(ImageContextImage, DrawsAtItsScaleAndStretchesToTheRectangle) {
    // 4x2 pixels at scale 2: one point high, two wide; left half red, right half green.
    std::vector<std::uint32_t> px = {kRed, kRed, kGreen, kGreen, kRed, kRed, kGreen, kGreen};
    const Image image = Image::withPixels(4, 2, px, 2.0);
    ImageContext ctx({5, 3}, false, 2);
    ctx.drawImageAtPoint(image, {1, 1});
    EXPECT_EQ(ctx.pixelAt(3, 3), kRed);
    EXPECT_EQ(ctx.pixelAt(4, 2), kGreen);
    EXPECT_EQ(ctx.pixelAt(6, 2), 0u);
    EXPECT_EQ(ctx.pixelAt(1, 2), 0u);
    EXPECT_EQ(ctx.pixelAt(2, 4), 0u);

    // Stretched threefold with no interpolation: blocks of a single colour.
    ImageContext big({12, 6}, false, 1);
    big.setInterpolationQuality(InterpolationQuality::None);
    big.drawImage(image, {0, 0, 12, 6});
    const Image out = big.imageFromCurrentContext();
    EXPECT_EQ(countOf(out, kRed), 36);
    EXPECT_EQ(countOf(out, kGreen), 36);
    EXPECT_EQ(out.pixelAt(5, 5), kRed);
    EXPECT_EQ(out.pixelAt(6, 0), kGreen);
}

TEST(ImageContextImage, OrientationIsAppliedWhenDrawing) {
    // Every orientation drawn agrees with the pixels rearranged as normalising does (checked by hand
    // elsewhere), on an image without symmetry.
    std::vector<std::uint32_t> px(6);
    for (std::uint32_t i = 0; i < 6; ++i) {
        px[i] = 0xFF000000u | (i + 1) * 0x101010u;
    }
    const Image asym = Image::withPixels(3, 2, px);
    for (int o = 0; o < 8; ++o) {
        const Image img = asym.withScale(1, static_cast<ImageOrientation>(o));
        ImageContext ctx(img.size(), false, 1);
        ctx.drawImage(img, {{0, 0}, img.size()});
        EXPECT_TRUE(ctx.imageFromCurrentContext().hasSamePixels(img.normalized())) << "orientation " << o;
    }
}

TEST(ImageContextStack, BeginEndAndPushArePerThread) {
    EXPECT_EQ(currentContext(), nullptr);
    beginImageContextWithOptions({2, 2}, false, 1);
    ImageContext* outer = currentContext();
    ASSERT_NE(outer, nullptr);
    outer->setFillColor(Color::red());
    outer->fillRect({0, 0, 2, 2});
    ImageContext mine({1, 1}, false, 1);
    pushContext(mine);
    EXPECT_EQ(currentContext(), &mine);
    bool otherThreadSawNone = false;
    std::thread([&] { otherThreadSawNone = currentContext() == nullptr; }).join();
    EXPECT_TRUE(otherThreadSawNone);
    popContext();
    EXPECT_EQ(currentContext(), outer);
    const Image image = imageFromCurrentImageContext();
    endImageContext();
    EXPECT_EQ(currentContext(), nullptr);
    EXPECT_EQ(image.pixelAt(1, 1), kRed);
    EXPECT_TRUE(imageFromCurrentImageContext().isNull());
    endImageContext();  // unbalanced: ignored
    EXPECT_EQ(currentContext(), nullptr);
}

}  // namespace
}  // namespace bdx::gfx
