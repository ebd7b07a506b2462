#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

/// The results of a run in the simulated router.
struct RouterRun {
    int status = -1; ///< exit status of simrouter; -1 when it was killed at the deadline
    std::string out;
    std::string err;
    std::string log;                  ///< every byte to and from the modems, with times
    std::vector<std::string> journal; ///< "shell<tab>modemctl<tab>uci commit network"
    std::chrono::milliseconds duration{};

    /// The texts of the journal's lines of that kind, by all processes or by who only.
    std::vector<std::string> journal_of(std::string_view kind, std::string_view who = {}) const;
    /// What was written to the modems' port ("ttyUSB2"), as bytes.
    std::string sent_to(std::string_view port) const;
};

/// Runs the command in a simulated router and waits for its end, or kills it after four minutes. A sanitizer's word
/// from any program in it fails the test. With the environment variable DELIVERY=bytes the modems send byte by byte.
/// @param options of simrouter, without journal, log and delivery
/// @param input the command's standard input
RouterRun run_in_router(const std::vector<std::string> &options, const std::vector<std::string> &command,
                        const std::string &input = {});

/// The same with a text for the router's shell.
RouterRun run_shell(const std::vector<std::string> &options, const std::string &script);

/// Calls an operation of a model's record (call_operation.cpp): model number, bus, operation and its arguments.
RouterRun call_operation(const std::vector<std::string> &options, std::vector<std::string> words);

/// Shell commands for run_shell that send text (in printf's form) to a port of the router and print what comes back, up
/// to and with the line "OK" or "ERROR".
std::string ask(const std::string &port, const std::string &text);

/// Runs any program outside with the same care. Its journal and log are empty.
RouterRun run_program(const std::vector<std::string> &command, const std::string &input = {});

/// True if this machine allows TUN devices in a router. A dial-up connection needs one.
bool has_tunnels();

/// A folder that is there for the time of a test.
class TemporaryFolder {
  public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;
    ~TemporaryFolder();
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

std::string read_text(const std::string &path);
std::vector<std::string> lines_of(const std::string &text);
/// BUILD_ROOT/name
std::string built(const std::string &name);
/// The same as a word of a shell script: the project's folder may have a blank in its name.
std::string built_word(const std::string &name);
