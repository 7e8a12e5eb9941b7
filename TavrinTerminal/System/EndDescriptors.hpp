#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <optional>

#include "TavrinCore/Support/File.hpp"

/// Descriptors that become readable when something else ends. None of them touches what it watches: the flags
/// of a descriptor that is shared with a shell stay as they are.
namespace tavrin::EndDescriptors {

/// Readable once the process has ended (pidfd_open(2), EVFILT_PROC of kqueue(2)). Not open, with errno, when
/// there is no such process (ESRCH) or the system has no such descriptors.
FileDescriptor ofProcess(std::int32_t pid);

/// May become readable when nobody reads what is written to `output` any more. Then ask readerIsGone(). Not
/// open for what has no reader, such as a file.
FileDescriptor ofReader(int output);

/// Whether the reader behind a descriptor of ofReader() is gone. Removes the event that made it readable.
bool readerIsGone(int descriptor);

}  // namespace tavrin::EndDescriptors
