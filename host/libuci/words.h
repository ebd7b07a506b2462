#pragma once

#include <cstddef>
#include <string_view>

#include "tree.h"

namespace host_uci {

/// The words of one command of a configuration file, unquoted.
struct Words {
    static constexpr int most = 4; ///< no command has more than three: a fourth is there to be complained about
    const char *word[most];
    size_t after[most]; ///< position in the text after each word and the character that ends it
    int count;
    size_t line_start; ///< of the line on which the command begins
    size_t start;      ///< of the command
    size_t end;        ///< after it, its line end included
};

/// Reads a configuration text command by command: words between spaces, '...' unchanged, "..." with backslashes, a
/// comment from '#'. A command ends with its line; ';' ends it too, and the rest of the line is passed over.
class WordReader {
  public:
    /// text has to outlive the reader.
    explicit WordReader(std::string_view text);

    /// @return false at the end of the text; words of the last call are void then
    bool next(Words &words);

    /// Why the text of the last command is wrong, after the words that could be read; null if it is not.
    const char *error() const { return error_; }

  private:
    bool at_end() const { return position_ >= text_.size(); }
    char take() { return text_[position_++]; }
    void skip_blanks();
    void skip_line();
    void add_word(Words &words);
    void read_word();
    void read_single_quoted();
    void read_double_quoted();
    void put(char character) { unquoted_.get()[used_++] = character; }

    std::string_view text_;
    size_t position_ = 0;
    Owned<char> unquoted_; // never longer than the text: each word takes a separator's place for its zero byte
    size_t used_ = 0;
    const char *error_ = nullptr;
};

} // namespace host_uci
