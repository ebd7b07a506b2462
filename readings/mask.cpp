#include "readings/mask.h"

#include <algorithm>

#include "readings/fields.h"

namespace {

constexpr size_t least_identity = 14; // an IMEI without its check digit
constexpr size_t kept_of_identity = 6;
constexpr size_t least_phone_number = 7;
constexpr size_t least_own_number = 5; // in a +CNUM line, which holds nothing else of that length
constexpr size_t kept_of_phone_number = 2;
// Shorter cell ids are those of test networks, and every level would be taken for one.
constexpr int64_t least_cell = 0x100;
constexpr size_t shortest_cell = 4;

std::string_view view_of(std::span<const char> text)
{
    return {text.data(), text.size()};
}

bool is_word_character(char character)
{
    return is_made_of({&character, 1}, "_");
}

bool is_hex_or_colon(char character)
{
    return character == ':' || hexadecimal({&character, 1});
}

// Writes number right-aligned over all of out.
void write_number(std::span<char> out, uint64_t number, unsigned base, bool is_small)
{
    const char *digits = is_small ? "0123456789abcdef" : "0123456789ABCDEF";
    for (size_t i = out.size(); i-- > 0;) {
        out[i] = digits[number % base];
        number = number / base;
    }
}

// The digit that makes the Luhn sum of digits and itself a multiple of ten.
char check_digit(std::span<const char> digits)
{
    int sum = 0;
    for (size_t i = 0; i < digits.size(); i++) {
        const int digit = digits[digits.size() - 1 - i] - '0';
        sum += i % 2 != 0 ? digit : digit > 4 ? digit * 2 - 9 : digit * 2;
    }
    return static_cast<char>('0' + (10 - sum % 10) % 10);
}

// The least number with as many digits as number has, in that base.
int64_t least_as_long(int64_t number, int64_t base)
{
    int64_t least = 1;
    while (least * base <= number)
        least *= base;
    return least;
}

// A longest part of a text whose characters are all of one kind, and the characters around it.
struct Run {
    std::span<char> text{};
    char before = '\0';
    char after = '\0';
};

// The next run after the one that ends at end, which moves to the end of this one. @return false without one
bool next_run(std::span<char> text, bool (*is_of_kind)(char), size_t &end, Run &run)
{
    size_t start = end;
    while (start < text.size() && !is_of_kind(text[start]))
        start++;
    end = start;
    while (end < text.size() && is_of_kind(text[end]))
        end++;
    run = {.text = text.subspan(start, end - start),
           .before = start == 0 ? '\0' : text[start - 1],
           .after = end == text.size() ? '\0' : text[end]};
    return end > start;
}

bool is_part_of_line(char character)
{
    return character != '\n' && character != '\r';
}

bool is_dotted(char character)
{
    return is_digit(character) || character == '.';
}

} // namespace

// 1 for the first number that was met, 2 for the second.
unsigned Mask::place_of(std::string_view number)
{
    for (unsigned i = 0; i < most_numbers; i++) {
        if (numbers_[i].empty())
            numbers_[i].assign(number);
        if (numbers_[i].view() == first_characters(number, numbers_[i].capacity() - 1))
            return i + 1;
    }
    return most_numbers + 1;
}

void Mask::learn_cell(const Cell &cell)
{
    // Some modems print the number of the base station, which is all but the last eight bits. A low one is left as it
    // is: it could be a channel.
    const int64_t id = cell.get(Quantity::cell_id).value_or(0);
    for (const int64_t number : {id, id / 256 > UINT16_MAX ? id / 256 : 0})
        if (number >= least_cell && cell_count_ < most_numbers &&
            std::ranges::find(cells_.begin(), cells_.begin() + cell_count_, number) == cells_.begin() + cell_count_)
            cells_[cell_count_++] = number;
}

void Mask::learn_cells(const Report &report)
{
    learn_cell(report.serving);
    learn_cell(report.nr);
    for (size_t i = 0; i < report.carriers.size; i++)
        learn_cell(report.carriers.items[i]);
    for (size_t i = 0; i < report.neighbours.size; i++)
        learn_cell(report.neighbours.items[i]);
}

void Mask::mask_digits(std::span<char> digits, size_t kept)
{
    const unsigned place = place_of(view_of(digits));
    const std::span<char> all_but_last = digits.first(digits.size() - 1);
    write_number(all_but_last.subspan(kept), place, 10, false);
    digits.back() = check_digit(all_but_last);
}

bool Mask::mask_cell(std::span<char> word)
{
    const std::string_view text = view_of(word);
    for (size_t i = 0; i < cell_count_ && text.size() >= shortest_cell; i++) {
        const int64_t id = cells_[i];
        const bool is_decimal = decimal(text) == id;
        if (!is_decimal && hexadecimal(text) != id)
            continue;
        // Both forms stay as long as they are, wherever the number is printed in which. From least on there are
        // hundreds of such numbers, far more than places.
        const int64_t least = std::max(least_as_long(id, 10), least_as_long(id, 16));
        int64_t masked = least + static_cast<int64_t>(i + 1);
        if (masked == id)
            masked += most_numbers;
        const bool is_small = text.find_first_of("abcdef") != std::string_view::npos;
        write_number(starts_with_word(text, "0X") ? word.subspan(2) : word, static_cast<uint64_t>(masked),
                     is_decimal ? 10 : 16, is_small);
        return true;
    }
    return false;
}

void Mask::mask_word(std::span<char> word, char before, bool is_in_number_line)
{
    const std::string_view text = view_of(word);
    if (mask_cell(word) || starts_with_word(text, "0X")) // a mask of bands
        return;
    const bool is_number = starts_with_digits(text, text.size());
    const size_t least = before == '+' ? least_phone_number : is_in_number_line ? least_own_number : least_identity;
    if (is_number && text.size() >= least)
        return mask_digits(word, least == least_identity ? kept_of_identity : kept_of_phone_number);
    // An ICCID can end with the filler F.
    size_t end = 0;
    for (Run digits; next_run(word, is_digit, end, digits);)
        if (digits.text.size() >= least_identity)
            mask_digits(digits.text, kept_of_identity);
}

// "10.64.3.17", also an IPv6 address as 16 numbers, and an address with its mask.
void Mask::mask_dotted(std::span<char> word)
{
    size_t parts = 0;
    bool is_address = true;
    bool is_told = false;
    for (std::string_view rest = view_of(word); !rest.empty();) {
        const auto number = decimal(take_until(rest, "."));
        is_address = is_address && number && *number <= 255;
        is_told = is_told || number != 0;
        parts++;
    }
    if (!is_address || !is_told || parts % 4 != 0)
        return;
    unsigned place = place_of(view_of(word));
    std::span<char> left = word;
    for (size_t i = 1; i < parts; i++) {
        const size_t dot = view_of(left).rfind('.');
        const std::span<char> part = left.subspan(dot + 1);
        const unsigned count = part.size() == 2 ? 90 : part.size() == 3 ? 100 : 10;
        write_number(part, (part.size() == 1 ? 0 : count == 90 ? 10 : 100) + place % count, 10, false);
        place /= count;
        left = left.first(dot);
    }
}

// "2001:db8::17". A list of bands has colons too, but no number of four digits.
void Mask::mask_colons(std::span<char> word)
{
    constexpr size_t length_of_group = 4;
    const std::string_view text = view_of(word);
    if (text.find(':') != length_of_group || std::count(text.begin(), text.end(), ':') < 2)
        return;
    unsigned place = place_of(text);
    for (size_t i = word.size(); i-- > length_of_group;)
        if (word[i] != ':') {
            write_number(word.subspan(i, 1), place, 16, true);
            place /= 16;
        }
}

void Mask::mask_line(std::span<char> line, Addresses addresses)
{
    Run run;
    size_t end = 0;
    while (addresses == Addresses::masked && next_run(line, is_dotted, end, run))
        if (!is_word_character(run.before) && !is_word_character(run.after))
            mask_dotted(run.text);
    end = 0;
    while (addresses == Addresses::masked && next_run(line, is_hex_or_colon, end, run))
        mask_colons(run.text);
    const bool is_in_number_line = find_word(view_of(line), "+CNUM:") != std::string_view::npos;
    end = 0;
    while (next_run(line, is_word_character, end, run))
        mask_word(run.text, run.before, is_in_number_line);
}

void Mask::apply(std::span<char> text, Addresses addresses)
{
    size_t end = 0;
    for (Run line; next_run(text, is_part_of_line, end, line);)
        mask_line(line.text, addresses);
}
