#pragma once

#include <cstdlib>
#include <string>

#include "tests/unit/temporary_directory.h"

/// While it lives, commands are looked up in directory before everywhere else.
class CommandPath {
  public:
    explicit CommandPath(const TemporaryDirectory &directory) : before_(getenv("PATH"))
    {
        setenv("PATH", (directory.path().string() + ':' + before_).c_str(), 1);
    }
    CommandPath(const CommandPath &) = delete;
    CommandPath &operator=(const CommandPath &) = delete;
    ~CommandPath() { setenv("PATH", before_.c_str(), 1); }

  private:
    std::string before_;
};
