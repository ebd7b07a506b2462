#pragma once

#include <cstddef>
#include <string_view>

#include "tree.h"

namespace host_uci {

/// The words of one command of a configuration file, unquoted.
struct Words {
    static constexpr int most = 3;
    const char *word[most];
    int count;
    size_t start;      ///< of the command in the text
    size_t end;        ///< behind it, its line end included
    int line;          ///< on which it ends, from 1
    size_t line_start; ///< of that line in the text
};

/// Reads a configuration text command by command: words between blanks, '...' as it stands, "..." with backslashes, a
/// comment from
/// '#'. A command ends with its line; ';' ends it too, and the rest of the line is passed over.
class WordReader {
  public:
    /// text has to outlive the reader.
    explicit WordReader(std::string_view text);

    /// @return false at the end of the text; words of the last call are void then
    bool next(Words &words);

    /// Why the last command is wrong as a text; null when it is not.
    const char *error() const { return error_; }

  private:
    bool at_end() const { return position_ >= text_.size(); }
    char take();
    void skip_blanks();
    void skip_line();
    void end_command(Words &words);
    void add_word(Words &words);
    void read_word();
    void read_single_quoted();
    void read_double_quoted();
    void put(char character) { unquoted_.get()[used_++] = character; }

    std::string_view text_;
    size_t position_ = 0;
    size_t line_start_ = 0;
    int line_ = 1;
    Owned<char> unquoted_; // never longer than the text: each word takes a separator's place for its zero byte
    size_t used_ = 0;
    const char *error_ = nullptr;
};

} // namespace host_uci
