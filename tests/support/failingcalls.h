#pragma once

#include <array>
#include <cstddef>

/// Has calls that the program, its toolkit and its libraries make of the system fail, as they do where there
/// is too little of something. The calls of all threads of this process count. A fleet must therefore be a
/// process of its own.
namespace failingcalls {

/// Each stands for all functions of the C library that do the same.
enum class Call {
    Socket,
    Bind,
    Connect,
    Send,
    Receive,
    SocketOption,
    Open,
    OpenDirectory,
    /// From a file. Whatever is read of a pipe or a wake-up doesn't count.
    Read,
    /// To a file, too.
    Write,
    Sync,
    /// Renames and links.
    Rename,
    Map,
    Thread,
    /// For what happens at descriptors.
    Wait,
    /// Makes what another thread can wake up an event loop with.
    WakeUp,
    /// Makes what tells of changes in directories.
    Watch
};
inline constexpr std::size_t callKinds = static_cast<std::size_t>(Call::Watch) + 1;

/// How often each was called.
using Counts = std::array<int, callKinds>;

const char *nameOf(Call call);

/// Counts from now on.
void count();
/// Counts from now on, and lets the `number`th call of a kind fail, the first being 1, and further ones if
/// more than one is to fail in a row.
void fail(Call call, int number, int inARow = 1);
/// How many calls have failed since then.
int failures();
/// Counts no more and lets nothing fail.
Counts stop();

} // namespace failingcalls
