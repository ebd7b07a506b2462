#include "simulator/modem/profile.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "simulator/modem/profile_parser.h"
#include "simulator/modem/reply_text.h"

namespace simulator {

namespace {

namespace fs = std::filesystem;

std::string read_text(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (!in || !fs::is_regular_file(path) || !(text << in.rdbuf()))
        throw ProfileError("cannot read " + path.string());
    return text.str();
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return tolower(c); });
    return text;
}

fs::path find_file(const fs::path &directory, const std::string &name)
{
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(directory, error))
        if (entry.path().extension() == ".modem" && lower(entry.path().stem().string()) == lower(name))
            return entry.path();
    throw ProfileError("no modem profile '" + name + "' in " + directory.string());
}

Profile load_file(const fs::path &path, const fs::path &directory)
{
    return parse_profile(path.filename().string(), read_text(path), [&](const std::string &name) {
        const fs::path beside = path.parent_path() / name;
        return read_text(fs::exists(beside) ? beside : directory / name);
    });
}

// The names that one row may use: the variables, and what its command takes.
class NameCheck {
  public:
    explicit NameCheck(const Profile &profile) : profile_(profile), file_(profile.name + ".modem")
    {
        for (const Variable &variable : profile.variables)
            declared_.insert(variable.name);
    }

    void row(const Row &row)
    {
        file_ = row.file;
        line_ = row.line;
        for (const std::string &name : row.command.names())
            taken_.insert(name);
        conditions(row.conditions);
        if (!row.prompt.empty())
            taken_.insert(row.prompt);
        for (const UnsolicitedLine &line : row.unsolicited)
            unsolicited(line);
        if (row.call)
            text(row.call->context);
        if (row.data)
            text(row.data->context);
        for (const Step &step : row.steps)
            this->step(step);
        taken_.clear();
    }

    void unsolicited(const UnsolicitedLine &line) const
    {
        conditions(line.conditions);
        text(line.text);
        if (line.interface >= 0 && profile_.interface(line.interface) == nullptr)
            fail("unknown interface " + std::to_string(line.interface));
    }

  private:
    void step(const Step &step)
    {
        text(step.last);
        if (!step.each.empty())
            taken_.insert(step.each);
        conditions(step.conditions);
        text(step.text);
        if (!step.variable.empty())
            name(step.variable);
        if (step.cme_error >= 0)
            known("cmee");
    }

    void text(std::string_view text) const
    {
        for (const std::string &name : names_in(text))
            known(name);
    }

    void conditions(const std::vector<Condition> &conditions) const
    {
        for (const Condition &condition : conditions) {
            name(condition.name);
            for (const std::string &value : condition.values)
                text(value);
        }
    }

    // A name that is put together with $variables cannot be looked up beforehand; its parts can.
    void name(const std::string &name) const
    {
        if (name.find('$') == std::string::npos)
            known(name);
        else
            text(name);
    }

    void known(const std::string &name) const
    {
        if (!declared_.contains(name) && !taken_.contains(name))
            fail("unknown variable '" + name + "'");
    }

    [[noreturn]] void fail(const std::string &reason) const
    {
        throw ProfileError(file_ + ":" + std::to_string(line_) + ": " + reason);
    }

    const Profile &profile_;

    std::set<std::string> declared_;
    std::set<std::string> taken_;
    std::string file_;
    int line_ = 1;
};

} // namespace

void check_names(const Profile &profile)
{
    NameCheck check(profile);
    for (const UnsolicitedLine &line : profile.unsolicited)
        check.unsolicited(line);
    for (const Row &row : profile.rows)
        check.row(row);
}

const Interface *Profile::interface(int number) const
{
    const auto found = std::find_if(interfaces.begin(), interfaces.end(),
                                    [&](const Interface &interface) { return interface.number == number; });
    return found == interfaces.end() ? nullptr : &*found;
}

int Profile::at_interface() const
{
    const auto found = std::find_if(interfaces.begin(), interfaces.end(),
                                    [](const Interface &interface) { return interface.role == Interface::Role::at; });
    return found == interfaces.end() ? -1 : found->number;
}

Profile parse_profile(const std::string &file, std::string_view text, const IncludeReader &read_include)
{
    Profile profile = ProfileParser(file, read_include, 0).parse(text);
    if (!profile.model.empty())
        check_names(profile);
    return profile;
}

Profile load_profile(const fs::path &directory, const std::string &name)
{
    if (name.find('/') != std::string::npos)
        return load_file(name, directory);
    return load_file(find_file(directory, name), directory);
}

std::vector<Profile> list_profiles(const fs::path &directory)
{
    std::vector<Profile> profiles;
    for (const fs::directory_entry &entry : fs::directory_iterator(directory)) {
        if (entry.path().extension() != ".modem")
            continue;
        Profile profile = load_file(entry.path(), directory);
        if (!profile.model.empty())
            profiles.push_back(std::move(profile));
    }
    std::sort(profiles.begin(), profiles.end(), [](const Profile &a, const Profile &b) { return a.name < b.name; });
    return profiles;
}

} // namespace simulator
