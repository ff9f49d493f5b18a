#include "core/BDXLineLimitedString.h"

BDXLineLimitedString::BDXLineLimitedString() : BDXLineLimitedString(100) {}

BDXLineLimitedString::BDXLineLimitedString(std::size_t linesLimit) : linesLimit_(linesLimit) {}

void BDXLineLimitedString::addLine(const std::string& line) {
    std::lock_guard<std::mutex> guard(syncLock_);
    lines_.push_back(line);
    if (lines_.size() > linesLimit_) {
        lines_.pop_front();
    }
}

std::string BDXLineLimitedString::getString() const {
    std::lock_guard<std::mutex> guard(syncLock_);
    std::string joined;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        if (i > 0) {
            joined += '\n';
        }
        joined += lines_[i];
    }
    return joined;
}
