#pragma once

/// Lets one system call of what is tested fail, as an error of the flash does: the linker leads write, fsync, close and
/// renameat of everything that is linked into the tests here (libc's own do not come by).
class FailingCall {
  public:
    /// The call of that name which comes after `passed` others of it fails with this reason; a write has written half
    /// of its bytes by then, and a close has closed.
    FailingCall(const char *name, int passed, int reason);
    FailingCall(const FailingCall &) = delete;
    FailingCall &operator=(const FailingCall &) = delete;
    ~FailingCall();
    /// Whether so many calls were made.
    bool has_failed() const;
};

inline constexpr const char *calls_that_can_fail[] = {"write", "fsync", "close", "renameat"};
