#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace simulator {

/// Files in the form in which a kernel takes its first ones (cpio, "newc").
class Archive {
  public:
    void add_folder(std::string_view path) { add(path, {}, 0040755); }
    void add_file(std::string_view path, std::string_view content, uint32_t mode)
    {
        add(path, content, 0100000 | mode);
    }
    /// All of them, with the entry that ends an archive.
    std::string text() const;

  private:
    void add(std::string_view path, std::string_view content, uint32_t mode);

    std::string entries_;
    uint32_t last_number_ = 0;
};

} // namespace simulator
