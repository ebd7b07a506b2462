#include "words.h"

namespace host_uci {

WordReader::WordReader(std::string_view text) : text_(text), unquoted_(static_cast<char *>(malloc(text.size() + 2))) {}

char WordReader::take()
{
    const char character = text_[position_++];
    if (character == '\n') {
        line_++;
        line_start_ = position_;
    }
    return character;
}

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

void WordReader::end_command(Words &words)
{
    words.line = line_;
    words.line_start = line_start_;
    if (!at_end())
        take();
    words.end = position_;
}

bool WordReader::next(Words &words)
{
    words = {};
    error_ = nullptr;
    used_ = 0;
    if (unquoted_ == nullptr)
        return false;
    for (skip_blanks(); !at_end(); skip_blanks()) {
        const char character = text_[position_];
        if (character == '#') {
            skip_line();
        } else if (character == '\n' && words.count == 0) {
            take();
        } else if (character == '\n') {
            break;
        } else if (character == ';' && words.count > 0) {
            skip_line();
        } else {
            if (words.count == 0)
                words.start = position_;
            add_word(words);
            if (error_ != nullptr)
                break;
        }
    }
    end_command(words);
    return words.count > 0;
}

void WordReader::add_word(Words &words)
{
    const size_t word = used_;
    read_word();
    if (words.count == Words::most && error_ == nullptr)
        error_ = "too many arguments";
    else if (words.count < Words::most)
        words.word[words.count++] = unquoted_.get() + word;
    if (error_ != nullptr)
        skip_line();
}

} // namespace host_uci
