#pragma once

#include <set>
#include <string>
#include <string_view>

#include "simulator/modem/profile.h"

namespace simulator {

/// Reads one profile file line by line into a Profile; parse_profile's workhorse.
class ProfileParser {
  public:
    ProfileParser(std::string file, const IncludeReader &read_include, int depth);

    /// Throws ProfileError, as all that follows.
    Profile parse(std::string_view text);

  private:
    void read_line(std::string_view line);
    void header(std::string_view line);
    void read_include(std::string_view name);
    void read_usb(std::string_view ids);
    void read_interface(std::string_view fields);
    void read_variable(std::string_view fields, bool stored);
    void begin_row(std::string_view command);
    void directive(std::string_view line);
    void add_step(std::string_view text);
    void reply_line(std::string_view text);
    void assign(std::string_view fields, bool add);
    void read_prompt(std::string_view name);
    void end_row();
    [[noreturn]] void repeated(const Row &first, const Row &second);
    void read_detach(std::string_view fields);
    void read_call(std::string_view fields);
    void read_data(std::string_view fields);
    void read_each(std::string_view fields);
    Condition read_condition(std::string_view fields, bool negated);
    UnsolicitedLine read_row_urc(std::string_view fields);
    UnsolicitedLine read_header_urc(std::string_view fields);
    void finish_urc(UnsolicitedLine &line, std::string_view fields);
    int64_t take_number(std::string_view &fields, int64_t highest, const char *what);
    void merge_includes();
    [[noreturn]] void fail(const std::string &reason) const;

    std::string file_;
    const IncludeReader &read_include_;
    int depth_;
    int line_ = 0;
    Profile profile_;
    std::vector<Profile> included_;
    Step next_step_; ///< takes "@ if" and "@ each" until the line or directive they are for comes
    bool in_row_ = false;
};

/// Every $name that a row or an unsolicited line reads, and every variable that it tests or sets, must be declared or
/// taken by the row's command; an interface that is named must be there. Throws ProfileError.
void check_names(const Profile &profile);

} // namespace simulator
