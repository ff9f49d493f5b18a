#pragma once

#include <cstdint>

#include "platform/gfx/Geometry.h"

// The record of one template match, or (as the shared info of a stroke) of where the stroke's ink lies.
// Every field starts at zero. Some fields belong to the record without being filled by the matching;
// they stay zero.
class BDXMatchingInfo {
  public:
    BDXMatchingInfo() = default;

    // Pixels that template and stroke share.
    std::int64_t value() const { return value_; }
    void setValue(std::int64_t value) { value_ = value; }
    // Template rotation in whole degrees.
    std::int64_t angle() const { return angle_; }
    void setAngle(std::int64_t angle) { angle_ = angle; }
    double probability() const { return probability_; }
    void setProbability(double probability) { probability_ = probability; }
    double averageProbability() const { return averageProbability_; }
    void setAverageProbability(double averageProbability) { averageProbability_ = averageProbability; }
    double rectPaddingPercent() const { return rectPaddingPercent_; }
    void setRectPaddingPercent(double rectPaddingPercent) { rectPaddingPercent_ = rectPaddingPercent; }
    // Share of the stroke's pixels that lie off the template.
    double pathNotConsumedPercent() const { return pathNotConsumedPercent_; }
    void setPathNotConsumedPercent(double percent) { pathNotConsumedPercent_ = percent; }
    // Share of the template's pixels that the stroke missed.
    double refPathNotConsumedPercent() const { return refPathNotConsumedPercent_; }
    void setRefPathNotConsumedPercent(double percent) { refPathNotConsumedPercent_ = percent; }
    // Stroke pixels in the left, top, right and bottom halves of the raster.
    std::int64_t leftWeight() const { return leftWeight_; }
    void setLeftWeight(std::int64_t weight) { leftWeight_ = weight; }
    std::int64_t topWeight() const { return topWeight_; }
    void setTopWeight(std::int64_t weight) { topWeight_ = weight; }
    std::int64_t rightWeight() const { return rightWeight_; }
    void setRightWeight(std::int64_t weight) { rightWeight_ = weight; }
    std::int64_t bottomWeight() const { return bottomWeight_; }
    void setBottomWeight(std::int64_t weight) { bottomWeight_ = weight; }
    double pathLength() const { return pathLength_; }
    void setPathLength(double pathLength) { pathLength_ = pathLength; }
    // The rectangle the matching template was built in.
    const bdx::gfx::Rect& matchRect() const { return matchRect_; }
    void setMatchRect(const bdx::gfx::Rect& matchRect) { matchRect_ = matchRect; }

    friend bool operator==(const BDXMatchingInfo&, const BDXMatchingInfo&) = default;

  private:
    std::int64_t value_ = 0;
    std::int64_t angle_ = 0;
    double probability_ = 0;
    double averageProbability_ = 0;
    double rectPaddingPercent_ = 0;
    double pathNotConsumedPercent_ = 0;
    double refPathNotConsumedPercent_ = 0;
    std::int64_t leftWeight_ = 0;
    std::int64_t topWeight_ = 0;
    std::int64_t rightWeight_ = 0;
    std::int64_t bottomWeight_ = 0;
    double pathLength_ = 0;
    bdx::gfx::Rect matchRect_;
};
