#include "foundation/StringWithFormat.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "foundation/Console.h"

namespace bdx {

FormatArgument FormatArgument::signedInteger(long long value) {
    FormatArgument argument;
    argument.kind_ = Kind::Signed;
    argument.signed_ = value;
    return argument;
}

FormatArgument FormatArgument::unsignedInteger(unsigned long long value) {
    FormatArgument argument;
    argument.kind_ = Kind::Unsigned;
    argument.unsigned_ = value;
    return argument;
}

FormatArgument FormatArgument::floating(double value) {
    FormatArgument argument;
    argument.kind_ = Kind::Floating;
    argument.floating_ = value;
    return argument;
}

FormatArgument FormatArgument::borrowedText(std::string_view text) {
    FormatArgument argument;
    argument.kind_ = Kind::Text;
    argument.borrowed_ = text;
    return argument;
}

FormatArgument FormatArgument::text(std::string text) {
    FormatArgument argument;
    argument.kind_ = Kind::Text;
    argument.ownsText_ = true;
    argument.owned_ = std::move(text);
    return argument;
}

FormatArgument FormatArgument::pointer(const void* pointer) {
    FormatArgument argument;
    argument.kind_ = pointer ? Kind::Pointer : Kind::Null;
    argument.pointer_ = pointer;
    return argument;
}

FormatArgument FormatArgument::value(const Value& value) {
    if (value.is_null()) {
        return FormatArgument();
    }
    if (value.is_string()) {
        return text(value.get<std::string>());
    }
    return text(value.dump());
}

FormatArgument FormatArgument::data(const Data& data) {
    static const char digits[] = "0123456789abcdef";
    auto hex = [&](std::string& out, size_t from, size_t to, bool grouped) {
        for (size_t i = from; i < to; ++i) {
            if (grouped && i > from && (i - from) % 4 == 0) {
                out.push_back(' ');
            }
            out.push_back(digits[data[i] >> 4]);
            out.push_back(digits[data[i] & 0xF]);
        }
    };
    std::string text = "{length = " + std::to_string(data.size()) + ", bytes = 0x";
    if (data.size() <= 24) {
        hex(text, 0, data.size(), false);
    } else {
        // Long data shows its first 16 and last 8 bytes in words of four, as the platform does.
        hex(text, 0, 16, true);
        text += " ... ";
        hex(text, data.size() - 8, data.size(), true);
    }
    text += "}";
    return FormatArgument::text(std::move(text));
}

FormatArgument FormatArgument::list(std::span<const FormatArgument> elements) {
    if (elements.empty()) {
        return text("(\n)");
    }
    std::string description = "(\n";
    for (size_t i = 0; i < elements.size(); ++i) {
        description += "    " + elements[i].objectDescription();
        description += i + 1 < elements.size() ? ",\n" : "\n";
    }
    description += ")";
    return text(std::move(description));
}

std::string FormatArgument::objectDescription() const {
    switch (kind_) {
        case Kind::Null:
            return "(null)";
        case Kind::Signed:
            return std::to_string(signed_);
        case Kind::Unsigned:
            return std::to_string(unsigned_);
        case Kind::Floating: {
            // The shortest text that reads back as the same number: 0.1 prints "0.1", 3.0 prints "3".
            char buffer[64];
            auto result = std::to_chars(buffer, buffer + sizeof buffer, floating_);
            return std::string(buffer, result.ptr);
        }
        case Kind::Text:
            return std::string(textValue());
        case Kind::Pointer: {
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "%p", pointer_);
            return buffer;
        }
    }
    return "(null)";
}

namespace {

// One conversion directive as written in the format: %[n$][flags][width][.precision][length]conversion.
struct Directive {
    std::string flags;
    std::optional<int> width;
    std::optional<int> precision;
    int lengthBits = 32;  // the size of an integer argument under the length modifier
    bool longDouble = false;
    char conversion = 0;
};

class Formatter {
  public:
    Formatter(std::string_view format, std::span<const FormatArgument> arguments)
        : format_(format), arguments_(arguments) {}

    std::string run() {
        std::string out;
        out.reserve(format_.size() + arguments_.size() * 8);
        size_t i = 0;
        while (i < format_.size()) {
            const size_t percent = format_.find('%', i);
            if (percent == std::string_view::npos) {
                out.append(format_.substr(i));
                break;
            }
            out.append(format_.substr(i, percent - i));
            i = convert(percent, out);
        }
        if (!usedPositional_ && nextArgument_ < arguments_.size()) {
            fault("more arguments (" + std::to_string(arguments_.size()) + ") than conversions");
        }
        return out;
    }

  private:
    void fault(const std::string& what) const {
        Console::logFault("stringWithFormat: " + what + " in \"" + std::string(format_) + "\"");
    }

    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    int readNumber(size_t& i) const {
        long value = 0;
        while (i < format_.size() && isDigit(format_[i])) {
            value = std::min<long>(value * 10 + (format_[i] - '0'), 1 << 20);
            ++i;
        }
        return static_cast<int>(value);
    }

    const FormatArgument* takeArgument(std::optional<int> position) {
        size_t index;
        if (position) {
            usedPositional_ = true;
            index = static_cast<size_t>(*position - 1);
        } else {
            index = nextArgument_++;
        }
        return index < arguments_.size() ? &arguments_[index] : nullptr;
    }

    // A '*' width or precision: the argument as an int, or nothing when it is not a number.
    std::optional<int> takeStarNumber() {
        const FormatArgument* argument = takeArgument(std::nullopt);
        if (!argument) {
            fault("missing argument for a '*' width or precision");
            return std::nullopt;
        }
        switch (argument->kind()) {
            case FormatArgument::Kind::Signed:
                return static_cast<int>(argument->signedValue());
            case FormatArgument::Kind::Unsigned:
                return static_cast<int>(argument->unsignedValue());
            case FormatArgument::Kind::Floating:
                return static_cast<int>(argument->floatingValue());
            default:
                fault("a '*' width or precision that is not a number");
                return std::nullopt;
        }
    }

    // Parses and renders the conversion starting at format_[start] == '%'; returns where the text goes on.
    size_t convert(size_t start, std::string& out) {
        size_t i = start + 1;
        Directive directive;
        std::optional<int> position;

        // A position "n$" looks like a width until the '$'.
        if (i < format_.size() && isDigit(format_[i]) && format_[i] != '0') {
            size_t j = i;
            const int number = readNumber(j);
            if (j < format_.size() && format_[j] == '$') {
                position = number;
                i = j + 1;
            }
        }
        while (i < format_.size() && std::string_view("-+ #0'").find(format_[i]) != std::string_view::npos) {
            if (format_[i] != '\'') {
                directive.flags.push_back(format_[i]);
            }
            ++i;
        }
        if (i < format_.size() && format_[i] == '*') {
            ++i;
            directive.width = takeStarNumber();
            if (directive.width && *directive.width < 0) {
                directive.flags.push_back('-');
                directive.width = -*directive.width;
            }
        } else if (i < format_.size() && isDigit(format_[i])) {
            directive.width = readNumber(i);
        }
        if (i < format_.size() && format_[i] == '.') {
            ++i;
            if (i < format_.size() && format_[i] == '*') {
                ++i;
                directive.precision = takeStarNumber();
                if (directive.precision && *directive.precision < 0) {
                    directive.precision.reset();
                }
            } else {
                directive.precision = readNumber(i);
            }
        }
        i = readLength(i, directive);
        if (i >= format_.size()) {
            fault("an unfinished conversion");
            out.append(format_.substr(start));
            return format_.size();
        }
        directive.conversion = format_[i++];
        if (directive.conversion == '%') {
            out.push_back('%');
            return i;
        }
        if (std::string_view("@diouxXcCsSpfFeEgGaA").find(directive.conversion) == std::string_view::npos) {
            fault(std::string("an unknown conversion '%") + directive.conversion + "'");
            out.append(format_.substr(start, i - start));
            return i;
        }
        const FormatArgument* argument = takeArgument(position);
        if (!argument) {
            fault("a missing argument for conversion " + std::to_string(nextArgument_));
            pad(out, "(null)", directive);
            return i;
        }
        render(*argument, directive, out);
        return i;
    }

    size_t readLength(size_t i, Directive& directive) const {
        auto at = [&](size_t k) { return k < format_.size() ? format_[k] : '\0'; };
        switch (at(i)) {
            case 'h':
                if (at(i + 1) == 'h') {
                    directive.lengthBits = 8;
                    return i + 2;
                }
                directive.lengthBits = 16;
                return i + 1;
            case 'l':
                directive.lengthBits = 64;
                return at(i + 1) == 'l' ? i + 2 : i + 1;
            case 'q':
            case 'j':
            case 'z':
            case 't':
                directive.lengthBits = 64;
                return i + 1;
            case 'L':
                directive.longDouble = true;
                directive.lengthBits = 64;
                return i + 1;
            default:
                return i;
        }
    }

    // Width and precision of %s and %@: the precision cuts the text (in bytes), the width pads it.
    static void pad(std::string& out, std::string_view text, const Directive& directive) {
        if (directive.precision && text.size() > static_cast<size_t>(*directive.precision)) {
            text = text.substr(0, static_cast<size_t>(*directive.precision));
        }
        const size_t width = directive.width ? static_cast<size_t>(*directive.width) : 0;
        const size_t fill = width > text.size() ? width - text.size() : 0;
        const bool left = directive.flags.find('-') != std::string::npos;
        if (!left) {
            out.append(fill, ' ');
        }
        out.append(text);
        if (left) {
            out.append(fill, ' ');
        }
    }

    // The C conversion for one value, with the flags, width and precision as written.
    template <class T>
    static void printf(std::string& out, const Directive& directive, const char* length, char conversion,
                       T value) {
        std::string cFormat = "%" + directive.flags;
        if (directive.width) {
            cFormat += std::to_string(*directive.width);
        }
        if (directive.precision) {
            cFormat += "." + std::to_string(*directive.precision);
        }
        cFormat += length;
        cFormat.push_back(conversion);
        char buffer[128];
        const int needed = std::snprintf(buffer, sizeof buffer, cFormat.c_str(), value);
        if (needed < 0) {
            return;
        }
        if (static_cast<size_t>(needed) < sizeof buffer) {
            out.append(buffer, static_cast<size_t>(needed));
            return;
        }
        std::string large(static_cast<size_t>(needed) + 1, '\0');
        std::snprintf(large.data(), large.size(), cFormat.c_str(), value);
        large.resize(static_cast<size_t>(needed));
        out += large;
    }

    // The argument as a number, when it is one.
    static std::optional<long long> asSigned(const FormatArgument& argument) {
        switch (argument.kind()) {
            case FormatArgument::Kind::Signed:
                return argument.signedValue();
            case FormatArgument::Kind::Unsigned:
                return static_cast<long long>(argument.unsignedValue());
            case FormatArgument::Kind::Floating: {
                const double value = argument.floatingValue();
                if (!std::isfinite(value)) {
                    return 0;
                }
                return static_cast<long long>(std::clamp(value, -9.2e18, 9.2e18));
            }
            case FormatArgument::Kind::Pointer:
                return static_cast<long long>(reinterpret_cast<std::uintptr_t>(argument.pointerValue()));
            default:
                return std::nullopt;
        }
    }

    static std::optional<double> asDouble(const FormatArgument& argument) {
        switch (argument.kind()) {
            case FormatArgument::Kind::Signed:
                return static_cast<double>(argument.signedValue());
            case FormatArgument::Kind::Unsigned:
                return static_cast<double>(argument.unsignedValue());
            case FormatArgument::Kind::Floating:
                return argument.floatingValue();
            default:
                return std::nullopt;
        }
    }

    // A number conversion given something that is not a number prints the thing as "%@" would.
    void mismatch(const FormatArgument& argument, const Directive& directive, std::string& out) const {
        fault(std::string("a non-number argument for conversion '%") + directive.conversion + "'");
        pad(out, argument.objectDescription(), directive);
    }

    void render(const FormatArgument& argument, const Directive& directive, std::string& out) const {
        switch (directive.conversion) {
            case '@':
                pad(out, argument.objectDescription(), directive);
                return;
            case 's':
            case 'S':
                if (argument.kind() != FormatArgument::Kind::Text &&
                    argument.kind() != FormatArgument::Kind::Null) {
                    fault("a non-text argument for conversion '%s'");
                }
                pad(out, argument.objectDescription(), directive);
                return;
            case 'd':
            case 'i': {
                auto value = asSigned(argument);
                if (!value) {
                    return mismatch(argument, directive, out);
                }
                printf(out, directive, "ll", 'd', truncateSigned(*value, directive.lengthBits));
                return;
            }
            case 'o':
            case 'u':
            case 'x':
            case 'X': {
                auto value = asSigned(argument);
                if (!value) {
                    return mismatch(argument, directive, out);
                }
                printf(out, directive, "ll", directive.conversion,
                       truncateUnsigned(*value, directive.lengthBits));
                return;
            }
            case 'c':
            case 'C': {
                auto value = asSigned(argument);
                if (!value) {
                    return mismatch(argument, directive, out);
                }
                printf(out, directive, "", 'c', static_cast<int>(static_cast<unsigned char>(*value)));
                return;
            }
            case 'p': {
                if (argument.kind() == FormatArgument::Kind::Null) {
                    pad(out, "0x0", directive);
                    return;
                }
                auto value = asSigned(argument);
                if (!value) {
                    return mismatch(argument, directive, out);
                }
                Directive plain = directive;
                plain.precision.reset();
                printf(out, plain, "", 'p',
                       reinterpret_cast<const void*>(static_cast<std::uintptr_t>(*value)));
                return;
            }
            default: {
                auto value = asDouble(argument);
                if (!value) {
                    return mismatch(argument, directive, out);
                }
                printf(out, directive, "", directive.conversion, *value);
                return;
            }
        }
    }

    static long long truncateSigned(long long value, int bits) {
        switch (bits) {
            case 8:
                return static_cast<std::int8_t>(value);
            case 16:
                return static_cast<std::int16_t>(value);
            case 32:
                return static_cast<std::int32_t>(value);
            default:
                return value;
        }
    }

    static unsigned long long truncateUnsigned(long long value, int bits) {
        const auto bitsOf = static_cast<unsigned long long>(value);
        switch (bits) {
            case 8:
                return static_cast<std::uint8_t>(bitsOf);
            case 16:
                return static_cast<std::uint16_t>(bitsOf);
            case 32:
                return static_cast<std::uint32_t>(bitsOf);
            default:
                return bitsOf;
        }
    }

    std::string_view format_;
    std::span<const FormatArgument> arguments_;
    size_t nextArgument_ = 0;
    bool usedPositional_ = false;
};

}  // namespace

std::string formatWithArguments(std::string_view format, std::span<const FormatArgument> arguments) {
    return Formatter(format, arguments).run();
}

}  // namespace bdx
