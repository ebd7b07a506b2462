#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

/// A directory of a test's own, gone with everything in it at the end of its scope.
class TemporaryDirectory {
  public:
    TemporaryDirectory()
    {
        std::string name = std::filesystem::temp_directory_path() / "modemctl-test-XXXXXX";
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no temporary directory");
        path_ = name;
    }
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
    ~TemporaryDirectory() { std::filesystem::remove_all(path_); }

    const std::filesystem::path &path() const { return path_; }
    /// Full path of an entry, whether it exists or not.
    std::string entry(const char *name) const { return path_ / name; }
    /// Writes a file. @return its full path
    std::string file(const char *name, std::string_view content) const
    {
        std::ofstream{path_ / name, std::ios::binary} << content;
        return entry(name);
    }
    /// Writes an executable shell script. @return its full path
    std::string script(const char *name, std::string_view lines) const
    {
        const std::string full = file(name, "#!/bin/sh\n" + std::string{lines});
        std::filesystem::permissions(full, std::filesystem::perms::owner_all);
        return full;
    }

  private:
    std::filesystem::path path_;
};

/// The whole content of a file, empty if it is missing.
inline std::string content_of(const std::filesystem::path &path)
{
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}
