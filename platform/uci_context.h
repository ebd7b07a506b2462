#pragma once

#include <array>
#include <ctime>
#include <uci.h>

#include "platform/files.h"
#include "platform/uci_folders.h"

// What a UCI context holds, for the sources of UCI alone.

/// Of a file. Another one than before: somebody else wrote the file meanwhile.
struct Version {
    ino_t inode = 0;
    off_t size = 0;
    time_t seconds = 0;
    long nanoseconds = 0;
    bool operator==(const Version &) const = default;
};

/// Of a package's file and of the file of saved changes to it.
struct Versions {
    Version config;
    Version saved;
    bool operator==(const Versions &) const = default;
};

/// A package from its first write to its commit, and then until the next first write.
struct Writing {
    Text<64> package{};
    Fd lock{};
    Fd config{};              ///< the package's file, open so that no other one gets its inode number
    Versions known{};         ///< what libuci holds
    size_t unsaved_bytes = 0; ///< of the changes, as saving them will write them
    bool is_committed = false;
};

struct UciContext {
    uci_context *libuci = nullptr;
    UciFolders folders;
    std::array<Writing, max_written_packages> writings;

    ~UciContext()
    {
        if (libuci != nullptr)
            uci_free_context(libuci);
    }
};
