#include "failingcalls.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace failingcalls {

namespace {

struct Kind
{
    const char *name;
    /// What the system says.
    int error;
};

constexpr std::array<Kind, callKinds> kinds{{
    {"socket", EMFILE},
    {"bind", EADDRINUSE},
    {"connect", EADDRNOTAVAIL},
    {"send", ENOBUFS},
    {"receive", ENOMEM},
    {"socket option", ENOBUFS},
    {"open", EMFILE},
    {"open directory", EMFILE},
    {"read", EIO},
    {"write", ENOSPC},
    {"sync", EIO},
    {"rename", ENOSPC},
    {"map", ENOMEM},
    {"thread", EAGAIN},
    {"wait", ENOMEM},
    {"wake-up", EMFILE},
    {"watch", EMFILE},
}};

constexpr std::size_t indexOf(Call call)
{
    return static_cast<std::size_t>(call);
}

std::atomic_bool isCounting{false};
std::array<std::atomic_int, callKinds> counts{};
std::atomic_int failingKind{-1};
std::atomic_int firstFailing{0};
std::atomic_int lastFailing{0};
std::atomic_int failureCount{0};

void start(int kind, int first, int last)
{
    for (std::atomic_int &number : counts) {
        number = 0;
    }
    failingKind = kind;
    firstFailing = first;
    lastFailing = last;
    failureCount = 0;
    isCounting = true;
}

/// The error of this call; 0 if it is to be made.
int errorOf(Call call)
{
    if (!isCounting) {
        return 0;
    }
    const int number = ++counts.at(indexOf(call));
    if (failingKind != static_cast<int>(call) || number < firstFailing || number > lastFailing) {
        return 0;
    }
    ++failureCount;
    return kinds.at(indexOf(call)).error;
}

bool isFile(int descriptor)
{
    struct stat status
    {
    };
    return isCounting && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// The C library's own function.
template <typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

const char *nameOf(Call call)
{
    return kinds.at(indexOf(call)).name;
}

void count()
{
    start(-1, 0, 0);
}

void fail(Call call, int number, int inARow)
{
    start(static_cast<int>(call), number, number + inARow - 1);
}

int failures()
{
    return failureCount;
}

Counts stop()
{
    isCounting = false;
    Counts result{};
    for (std::size_t i = 0; i < callKinds; ++i) {
        result.at(i) = counts.at(i);
    }
    return result;
}

} // namespace failingcalls

using failingcalls::Call;

// Stands in for a function of the C library. It has a name of its own here, so that the headers' declarations
// and the compiler's knowledge of the function don't meddle.
#define INTERPOSE(kind, counted, result, onFailure, symbol, parameters, arguments)                           \
    extern "C" __attribute__((visibility("default"))) result failing_##symbol parameters __asm__(#symbol);   \
    result failing_##symbol parameters                                                                       \
    {                                                                                                        \
        static auto *const real = failingcalls::next<result parameters>(#symbol);                            \
        const int error = (counted) ? failingcalls::errorOf(Call::kind) : 0;                                 \
        if (error != 0) {                                                                                    \
            errno = error;                                                                                   \
            return onFailure;                                                                                \
        }                                                                                                    \
        return real arguments;                                                                               \
    }

INTERPOSE(Socket, true, int, -1, socket, (int domain, int type, int protocol), (domain, type, protocol))
INTERPOSE(Socket, true, int, -1, socketpair, (int domain, int type, int protocol, int *ends),
          (domain, type, protocol, ends))
INTERPOSE(Bind, true, int, -1, bind, (int descriptor, const sockaddr *address, socklen_t size),
          (descriptor, address, size))
INTERPOSE(Connect, true, int, -1, connect, (int descriptor, const sockaddr *address, socklen_t size),
          (descriptor, address, size))
INTERPOSE(Send, true, ssize_t, -1, send, (int descriptor, const void *bytes, std::size_t size, int flags),
          (descriptor, bytes, size, flags))
INTERPOSE(Send, true, ssize_t, -1, sendto,
          (int descriptor, const void *bytes, std::size_t size, int flags, const sockaddr *address,
           socklen_t addressSize),
          (descriptor, bytes, size, flags, address, addressSize))
INTERPOSE(Send, true, ssize_t, -1, sendmsg, (int descriptor, const msghdr *message, int flags),
          (descriptor, message, flags))
INTERPOSE(Receive, true, ssize_t, -1, recv, (int descriptor, void *bytes, std::size_t size, int flags),
          (descriptor, bytes, size, flags))
INTERPOSE(Receive, true, ssize_t, -1, recvfrom,
          (int descriptor, void *bytes, std::size_t size, int flags, sockaddr *address,
           socklen_t *addressSize),
          (descriptor, bytes, size, flags, address, addressSize))
INTERPOSE(Receive, true, ssize_t, -1, recvmsg, (int descriptor, msghdr *message, int flags),
          (descriptor, message, flags))
INTERPOSE(SocketOption, true, int, -1, setsockopt,
          (int descriptor, int level, int name, const void *value, socklen_t size),
          (descriptor, level, name, value, size))
INTERPOSE(SocketOption, true, int, -1, getsockopt,
          (int descriptor, int level, int name, void *value, socklen_t *size),
          (descriptor, level, name, value, size))
INTERPOSE(SocketOption, true, int, -1, getsockname, (int descriptor, sockaddr *address, socklen_t *size),
          (descriptor, address, size))
INTERPOSE(SocketOption, true, int, -1, getpeername, (int descriptor, sockaddr *address, socklen_t *size),
          (descriptor, address, size))
// The mode is read whether there is one or not: on the machines that this is made for it is a register.
INTERPOSE(Open, true, int, -1, open, (const char *path, int flags, mode_t mode), (path, flags, mode))
INTERPOSE(Open, true, int, -1, open64, (const char *path, int flags, mode_t mode), (path, flags, mode))
INTERPOSE(Open, true, int, -1, openat, (int directory, const char *path, int flags, mode_t mode),
          (directory, path, flags, mode))
INTERPOSE(Open, true, std::FILE *, nullptr, fopen, (const char *path, const char *mode), (path, mode))
INTERPOSE(Open, true, std::FILE *, nullptr, fopen64, (const char *path, const char *mode), (path, mode))
INTERPOSE(OpenDirectory, true, DIR *, nullptr, opendir, (const char *path), (path))
INTERPOSE(Read, failingcalls::isFile(descriptor), ssize_t, -1, read,
          (int descriptor, void *bytes, std::size_t size), (descriptor, bytes, size))
INTERPOSE(Write, failingcalls::isFile(descriptor), ssize_t, -1, write,
          (int descriptor, const void *bytes, std::size_t size), (descriptor, bytes, size))
INTERPOSE(Sync, true, int, -1, fsync, (int descriptor), (descriptor))
INTERPOSE(Sync, true, int, -1, fdatasync, (int descriptor), (descriptor))
INTERPOSE(Rename, true, int, -1, rename, (const char *from, const char *to), (from, to))
INTERPOSE(Rename, true, int, -1, renameat2,
          (int fromDirectory, const char *from, int toDirectory, const char *to, unsigned flags),
          (fromDirectory, from, toDirectory, to, flags))
INTERPOSE(Rename, true, int, -1, link, (const char *from, const char *to), (from, to))
INTERPOSE(Rename, true, int, -1, linkat,
          (int fromDirectory, const char *from, int toDirectory, const char *to, int flags),
          (fromDirectory, from, toDirectory, to, flags))
INTERPOSE(Map, true, void *, MAP_FAILED, mmap,
          (void *place, std::size_t size, int protection, int flags, int descriptor, off_t offset),
          (place, size, protection, flags, descriptor, offset))
INTERPOSE(Map, true, void *, MAP_FAILED, mmap64,
          (void *place, std::size_t size, int protection, int flags, int descriptor, off_t offset),
          (place, size, protection, flags, descriptor, offset))
// Tells its error by what it returns.
INTERPOSE(Thread, true, int, error, pthread_create,
          (pthread_t * thread, const pthread_attr_t *attributes, void *(*function)(void *), void *argument),
          (thread, attributes, function, argument))
INTERPOSE(Wait, true, int, -1, poll, (pollfd * descriptors, nfds_t count, int timeout),
          (descriptors, count, timeout))
INTERPOSE(Wait, true, int, -1, ppoll,
          (pollfd * descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask),
          (descriptors, count, timeout, mask))
INTERPOSE(WakeUp, true, int, -1, eventfd, (unsigned value, int flags), (value, flags))
INTERPOSE(WakeUp, true, int, -1, pipe, (int *ends), (ends))
INTERPOSE(WakeUp, true, int, -1, pipe2, (int *ends, int flags), (ends, flags))
INTERPOSE(Watch, true, int, -1, inotify_init1, (int flags), (flags))
