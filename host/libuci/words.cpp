#include "words.h"

namespace host_uci {

WordReader::WordReader(std::string_view text) : text_(text), unquoted_(static_cast<char *>(malloc(text.size() + 2))) {}

void WordReader::skip_blanks()
{
    while (!at_end() && (text_[position_] == ' ' || text_[position_] == '\t' || text_[position_] == '\r' ||
                         text_[position_] == '\0'))
        take();
}

void WordReader::skip_line()
{
    while (!at_end() && text_[position_] != '\n')
        take();
}

void WordReader::read_single_quoted()
{
    take();
    while (!at_end()) {
        const char character = take();
        if (character == '\'')
            return;
        put(character);
    }
    error_ = "EOF with unterminated '";
}

void WordReader::read_double_quoted()
{
    take();
    while (!at_end()) {
        const char character = take();
        if (character == '"')
            return;
        if (character != '\\')
            put(character);
        else if (!at_end() && text_[position_] != '\n')
            put(take());
        else if (!at_end())
            take();
    }
    error_ = "EOF with unterminated \"";
}

void WordReader::read_word()
{
    const size_t start = position_;
    while (!at_end() && error_ == nullptr) {
        const char character = text_[position_];
        if (character == ' ' || character == '\t' || character == '\n' || character == '\r' || character == ';' ||
            character == '\0')
            break;
        if (character == '\'') {
            read_single_quoted();
        } else if (character == '"') {
            read_double_quoted();
        } else if (character == '\\') {
            take();
            if (!at_end() && text_[position_] != '\n')
                put(take());
            else if (!at_end())
                take();
        } else {
            put(take());
        }
    }
    // A lone ';' is a word, and no command.
    if (!at_end() && text_[position_] == ';' && position_ == start)
        put(take());
    put('\0');
}

bool WordReader::next(Words &words)
{
    words = {};
    error_ = nullptr;
    used_ = 0;
    if (unquoted_ == nullptr)
        return false;
    words.line_start = position_;
    for (skip_blanks(); !at_end() && error_ == nullptr; skip_blanks()) {
        const char character = text_[position_];
        if (character == '\n' && words.count > 0)
            break;
        if (character == '\n') {
            take();
            words.line_start = position_;
        } else if (character == '#' || (character == ';' && words.count > 0)) {
            skip_line();
        } else {
            if (words.count == 0)
                words.start = position_;
            add_word(words);
        }
    }
    if (!at_end())
        take();
    words.end = position_;
    return words.count > 0 || error_ != nullptr;
}

void WordReader::add_word(Words &words)
{
    const size_t word = used_;
    read_word();
    if (error_ != nullptr || words.count == Words::most)
        return;
    words.word[words.count] = unquoted_.get() + word;
    words.after[words.count] = position_ < text_.size() ? position_ + 1 : position_;
    words.count++;
}

} // namespace host_uci
