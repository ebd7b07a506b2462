#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

enum MbimType : uint32_t {
    mbim_open = 1,
    mbim_close = 2,
    mbim_command = 3,
    mbim_open_done = 0x80000001,
    mbim_close_done = 0x80000002,
    mbim_command_done = 0x80000003,
    mbim_function_error = 0x80000004,
    mbim_indication = 0x80000007
};

enum MbimStatus : uint32_t {
    mbim_ok = 0,
    mbim_failure = 2,
    mbim_no_sim = 3,
    mbim_pin_required = 5,
    mbim_not_registered = 7,
    mbim_no_support = 9,
    mbim_detached = 12,
    mbim_not_activated = 16,
    mbim_wrong_apn = 18,
    mbim_wrong_password = 19,
    mbim_radio_off = 20,
    mbim_wrong_parameters = 21
};

/// Why a message is not taken at all.
enum MbimError : uint32_t { mbim_fragment = 2, mbim_length = 3, mbim_not_opened = 5, mbim_unknown = 6 };

inline constexpr std::string_view mbim_basic_connect{"\xa2\x89\xcc\x33\xbc\xbb\x8b\x4f\xb6\xb0\x13\x3e\xc2\xaa\xe6\xdf",
                                                     16};

/// A message of the host.
struct MbimRequest {
    uint32_t type = 0;
    uint32_t transaction = 0;
    // of a command
    std::string service{};
    uint32_t cid = 0;
    bool is_set = false;
    std::string info{};

    /// A number in info; 0 after its end.
    uint32_t number(size_t at) const;
    /// The text whose place and length are at that place of info; empty if they lead out of it. "?" stands for what is
    /// no printable ASCII.
    std::string text(size_t at) const;
};

struct MbimRead {
    MbimRequest request{};
    std::optional<MbimError> error{}; ///< the request has its transaction only, if that
};
MbimRead read_mbim_request(std::string_view message);

/// The information of an answer: numbers, and places of what follows them all.
class MbimInfo {
  public:
    MbimInfo &number(uint32_t value);
    MbimInfo &bytes(std::string_view bytes);
    /// Place and length of an ASCII text.
    MbimInfo &text(std::string_view text);
    /// Place and length of something else.
    MbimInfo &part(std::string_view part);
    /// Its place only; 0 for nothing.
    MbimInfo &place(std::string_view part);
    std::string done() const;

  private:
    struct Part {
        size_t at; ///< where its place is written
        std::string bytes;
    };
    std::string fixed_;
    std::vector<Part> parts_;
};

/// Messages of the modem.
std::string mbim_result(uint32_t type, uint32_t transaction, uint32_t result);
std::string mbim_done(const MbimRequest &request, MbimStatus status, std::string_view info);
std::string mbim_indicate(uint32_t cid, std::string_view info);

} // namespace simulator
