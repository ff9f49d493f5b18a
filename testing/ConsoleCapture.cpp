#include "testing/ConsoleCapture.h"

namespace bdx::testing {

ConsoleCapture::ConsoleCapture() : wasEnabled_(Console::isProcessOutputEnabled()) {
    token_ = Console::addSink([this](const Console::Line& line) {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
    });
    Console::setProcessOutputEnabled(false);
}

ConsoleCapture::~ConsoleCapture() {
    Console::removeSink(token_);
    Console::setProcessOutputEnabled(wasEnabled_);
}

std::vector<Console::Line> ConsoleCapture::lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

std::vector<std::string> ConsoleCapture::lines(Console::Channel channel) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> texts;
    for (const auto& line : lines_) {
        if (line.channel == channel) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

bool ConsoleCapture::contains(Console::Channel channel, const std::string& fragment) const {
    for (const auto& text : lines(channel)) {
        if (text.find(fragment) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace bdx::testing
