#pragma once

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>

/// The bytes of a Text that a function may fill, and their number. What does not fit is cut; the last byte stays zero.
/// A TextOut of no bytes takes nothing.
class TextOut {
  public:
    constexpr TextOut(char *bytes, size_t capacity) : bytes_(bytes), capacity_(capacity) {}

    char *data() const { return bytes_; }
    /// Bytes in place, terminating zero included.
    size_t capacity() const { return capacity_; }
    /// Up to the first zero byte.
    std::string_view view() const { return {bytes_, capacity_ == 0 ? 0 : strnlen(bytes_, capacity_)}; }
    bool empty() const { return view().empty(); }

    /// All bytes zero.
    void clear() const
    {
        if (capacity_ > 0)
            memset(bytes_, 0, capacity_);
    }
    /// Replaces the text; the rest becomes zero. @return false when text was cut
    bool assign(std::string_view text) const { return assign(bytes_, capacity_, text); }
    /// @return false when text was cut
    bool append(std::string_view text) const { return append(bytes_, capacity_, text); }
    /// Replaces the text by what printf would write. @return false when that was cut
    bool assign_format(const char *format, ...) const __attribute__((format(printf, 2, 3)));
    bool assign_format(const char *format, va_list arguments) const __attribute__((format(printf, 2, 0)))
    {
        return assign_format(bytes_, capacity_, format, arguments);
    }

  private:
    // Static, so that all arguments are in registers: a member function would need the object in memory at every call.
    static bool assign(char *bytes, size_t capacity, std::string_view text);
    static bool append(char *bytes, size_t capacity, std::string_view text);
    static bool assign_format(char *bytes, size_t capacity, const char *format, va_list arguments)
        __attribute__((format(printf, 3, 0)));

    char *bytes_;
    size_t capacity_;
};

/// True if the bytes up to the first zero byte, or all of them, are text.
bool is_text(const char *bytes, size_t capacity, std::string_view text);

/// N bytes in place, the terminating zero included: a new one is all zero, what does not fit is cut, the last byte
/// stays zero. It copies like an int and holds no pointer to itself.
template <size_t N> class Text {
  public:
    constexpr Text() : bytes_{} {}
    constexpr Text(const char *text)
    {
        if (!std::is_constant_evaluated()) {
            out().assign(text); // is less code, and also fills all bytes
            return;
        }
        bytes_ = {};
        for (size_t i = 0; i + 1 < N && text[i] != '\0'; i++)
            bytes_[i] = text[i];
    }
    explicit Text(std::string_view text) { out().assign(text); } // fills all bytes

    /// What printf would write, cut at N - 1 bytes.
    static Text format(const char *format, ...) __attribute__((format(printf, 1, 2)))
    {
        Text text{unfilled};
        va_list arguments;
        va_start(arguments, format);
        text.out().assign_format(format, arguments);
        va_end(arguments);
        return text;
    }

    static constexpr size_t capacity() { return N; }
    const char *c_str() const { return bytes_.data(); }
    char *data() { return bytes_.data(); }
    TextOut out() { return {bytes_.data(), N}; }
    operator TextOut() { return out(); }
    std::string_view view() const { return {bytes_.data(), strnlen(bytes_.data(), N)}; }
    size_t size() const { return view().size(); }
    bool empty() const { return bytes_[0] == '\0'; }

    void clear() { out().clear(); }
    bool assign(std::string_view text) { return out().assign(text); }
    bool append(std::string_view text) { return out().append(text); }

    bool operator==(std::string_view other) const { return is_text(bytes_.data(), N, other); }

  private:
    // assign_format fills all bytes.
    enum Unfilled : bool { unfilled };
    explicit Text(Unfilled) {}

    static_assert(N > 0);
    std::array<char, N> bytes_;
};

struct Free {
    void operator()(void *memory) const { free(memory); }
};
/// A text from the heap, zero-terminated.
using HeapText = std::unique_ptr<char, Free>;

/// The first count characters of text, or all of a shorter text (string_view::substr would need the exception support
/// of libstdc++).
constexpr std::string_view first_characters(std::string_view text, size_t count)
{
    return {text.data(), count < text.size() ? count : text.size()};
}

/// text without its first count characters, empty if it is shorter.
constexpr std::string_view without_first(std::string_view text, size_t count)
{
    text.remove_prefix(count < text.size() ? count : text.size());
    return text;
}

constexpr bool is_digit(char character)
{
    return character >= '0' && character <= '9';
}

/// Where needle begins in text, npos without it: string_view's find, whose code is long, once.
size_t find_text(std::string_view text, std::string_view needle);

/// True if needle occurs in text; an empty text contains nothing, not even an empty needle.
bool str_contains(std::string_view text, std::string_view needle);

/// Takes the zero bytes out of what a port or a program sent. @return how many bytes are left
size_t drop_zero_bytes(char *bytes, size_t count);

/// True if text holds only letters, digits and the characters of others, or is empty. For texts that go into a shell
/// command or a path.
bool is_made_of(std::string_view text, std::string_view others);

/// True if text has at least count characters and the first count are decimal digits.
bool starts_with_digits(std::string_view text, size_t count);

/// The integer at the start of text by strtol's rule (white space, a sign, digits); 0 without digits. A number beyond
/// 32 bits becomes the nearest one. json-c reads a string as a number in the same way.
int32_t text_to_int(const char *text);
