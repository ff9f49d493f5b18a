#pragma once

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "foundation/Data.h"
#include "foundation/Value.h"

namespace bdx {

// One argument of stringWithFormat, reduced to what a conversion can print.
class FormatArgument {
  public:
    enum class Kind : std::uint8_t { Null, Signed, Unsigned, Floating, Text, Pointer };

    FormatArgument() = default;
    static FormatArgument signedInteger(long long value);
    static FormatArgument unsignedInteger(unsigned long long value);
    static FormatArgument floating(double value);
    // Borrows the text: it must outlive the formatting call (true of any argument of the call).
    static FormatArgument borrowedText(std::string_view text);
    static FormatArgument text(std::string text);
    static FormatArgument pointer(const void* pointer);
    // A dictionary/array/number/string value: its string content for a string, "(null)" for null, JSON text
    // otherwise.
    static FormatArgument value(const Value& value);
    // Bytes as the platform describes them: "{length = 3, bytes = 0x010203}".
    static FormatArgument data(const Data& data);
    // A list, described as the platform describes an array: "(\n    a,\n    b\n)".
    static FormatArgument list(std::span<const FormatArgument> elements);

    Kind kind() const { return kind_; }
    long long signedValue() const { return signed_; }
    unsigned long long unsignedValue() const { return unsigned_; }
    double floatingValue() const { return floating_; }
    const void* pointerValue() const { return pointer_; }
    std::string_view textValue() const { return ownsText_ ? std::string_view(owned_) : borrowed_; }
    // What "%@" prints for this argument.
    std::string objectDescription() const;

  private:
    Kind kind_ = Kind::Null;
    bool ownsText_ = false;
    long long signed_ = 0;
    unsigned long long unsigned_ = 0;
    double floating_ = 0.0;
    const void* pointer_ = nullptr;
    std::string_view borrowed_;
    std::string owned_;
};

// Formats `arguments` into `format` with the platform's string-format conversions (see stringWithFormat).
std::string formatWithArguments(std::string_view format, std::span<const FormatArgument> arguments);

namespace format_detail {

template <class T>
concept Describable = requires(const T& object) {
    { object.description() } -> std::convertible_to<std::string>;
};

template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};

template <class T>
struct IsSmartPointer : std::false_type {};
template <class T>
struct IsSmartPointer<std::shared_ptr<T>> : std::true_type {};
template <class T, class D>
struct IsSmartPointer<std::unique_ptr<T, D>> : std::true_type {};

template <class T>
struct IsWeakPointer : std::false_type {};
template <class T>
struct IsWeakPointer<std::weak_ptr<T>> : std::true_type {};

template <class T>
concept Listable = requires(const T& list) {
    std::begin(list);
    std::end(list);
};

template <class T>
inline constexpr bool alwaysFalse = false;

template <class T>
FormatArgument toFormatArgument(const T& argument) {
    if constexpr (std::is_same_v<T, std::nullptr_t>) {
        return FormatArgument();
    } else if constexpr (std::is_same_v<T, bool>) {
        return FormatArgument::signedInteger(argument ? 1 : 0);
    } else if constexpr (std::is_enum_v<T>) {
        return toFormatArgument(static_cast<std::underlying_type_t<T>>(argument));
    } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
        return FormatArgument::signedInteger(static_cast<long long>(argument));
    } else if constexpr (std::is_integral_v<T>) {
        return FormatArgument::unsignedInteger(static_cast<unsigned long long>(argument));
    } else if constexpr (std::is_floating_point_v<T>) {
        return FormatArgument::floating(static_cast<double>(argument));
    } else if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
        return argument ? FormatArgument::borrowedText(argument) : FormatArgument();
    } else if constexpr (std::is_array_v<T> &&
                         std::is_same_v<std::remove_cv_t<std::remove_extent_t<T>>, char>) {
        return FormatArgument::borrowedText(std::string_view(argument));
    } else if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, std::string_view>) {
        return FormatArgument::borrowedText(argument);
    } else if constexpr (std::is_same_v<T, std::filesystem::path>) {
        return FormatArgument::text(argument.string());
    } else if constexpr (std::is_same_v<T, Value>) {
        return FormatArgument::value(argument);
    } else if constexpr (std::is_same_v<T, Data>) {
        return FormatArgument::data(argument);
    } else if constexpr (IsOptional<T>::value) {
        return argument ? toFormatArgument(*argument) : FormatArgument();
    } else if constexpr (IsSmartPointer<T>::value) {
        return argument ? toFormatArgument(*argument) : FormatArgument();
    } else if constexpr (IsWeakPointer<T>::value) {
        auto locked = argument.lock();
        return locked ? toFormatArgument(*locked) : FormatArgument();
    } else if constexpr (std::is_pointer_v<T> && Describable<std::remove_cv_t<std::remove_pointer_t<T>>>) {
        return argument ? toFormatArgument(*argument) : FormatArgument();
    } else if constexpr (std::is_pointer_v<T>) {
        return FormatArgument::pointer(static_cast<const void*>(argument));
    } else if constexpr (Describable<T>) {
        return FormatArgument::text(std::string(argument.description()));
    } else if constexpr (Listable<T>) {
        std::vector<FormatArgument> elements;
        for (const auto& element : argument) {
            elements.push_back(toFormatArgument(element));
        }
        return FormatArgument::list(elements);
    } else {
        static_assert(alwaysFalse<T>,
                      "stringWithFormat: this argument type has no description; give it a "
                      "description() or pass a string");
    }
}

}  // namespace format_detail

// The platform's string formatting, so that the system's texts appear in the code as they stand:
//   stringWithFormat("Version %@ of Brindlex is available! ...", version)
// Conversions: %@ (an object's description: strings, numbers, values, bytes, lists, anything with a
// description(), smart pointers and optionals of those; nothing prints "(null)"), %d %i %u %x %X %o %c %p,
// %f %e %g %a (and capitals) with flags, width and precision ("%02x", "%.02f", "%0.0f", "%-8s", "%*d"),
// length modifiers (hh h l ll q z t j L) with C's meaning (%d prints 32 bits, %ld 64), %s, %% and positional
// arguments ("%2$@"). Numbers convert between integer and floating conversions. A missing argument prints
// "(null)", a text given to a number conversion prints as text; both are logged, neither throws.
template <class... Args>
std::string stringWithFormat(std::string_view format, const Args&... arguments) {
    if constexpr (sizeof...(Args) == 0) {
        return formatWithArguments(format, {});
    } else {
        const FormatArgument list[] = {format_detail::toFormatArgument(arguments)...};
        return formatWithArguments(format, list);
    }
}

}  // namespace bdx
