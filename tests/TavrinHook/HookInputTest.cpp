#include "TavrinHook/HookInput.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "TavrinCore/Support/File.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

constexpr std::size_t million = 1'000'000;

// Bytes in which no two stretches are alike. They include zeros, but no quotes, so they hold no JSON string.
std::string someBytes(std::size_t count) {
  std::string bytes(count, '\0');
  std::uint32_t state = 1;
  for (char& byte : bytes) {
    state = state * 1'664'525U + 1'013'904'223U;
    byte = static_cast<char>(state >> 24U);
    if (byte == '"') byte = 0;
  }
  return bytes;
}

constexpr std::array<std::string_view, 2> keys = {"session_id", "cwd"};

// The two ends of a channel.
struct Ends {
  FileDescriptor reading;
  FileDescriptor writing;
};

Ends makePipe() {
  std::array<int, 2> ends{};
  EXPECT_EQ(::pipe(ends.data()), 0);
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Ends makeSockets() {
  std::array<int, 2> ends{};
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

const std::vector<std::pair<std::string, std::function<Ends()>>> channels = {{"pipe", makePipe},
                                                                             {"sockets", makeSockets}};

void setNonBlocking(const FileDescriptor& file) {
  ASSERT_EQ(::fcntl(file.number(), F_SETFL, ::fcntl(file.number(), F_GETFL) | O_NONBLOCK), 0);
}

// Reads `bytes` while a thread writes them, `pieceSize` at a time, and then closes its end.
HookInput readWritten(Ends ends, std::string_view bytes, std::size_t limit, std::size_t pieceSize = 65'536) {
  std::thread writer([&] {
    for (std::size_t i = 0; i < bytes.size(); i += pieceSize) {
      if (!File::writeAll(ends.writing.number(), bytes.substr(i, pieceSize))) break;
    }
    ends.writing.close();
  });
  HookInput input = HookInput::read(ends.reading.number(), limit, keys);
  writer.join();
  return input;
}

// Checks the input that `bytes` and a limit must lead to.
void expectRead(const HookInput& input, std::string_view bytes, std::size_t limit) {
  EXPECT_EQ(input.size, bytes.size());
  if (bytes.size() > limit) {
    EXPECT_EQ(input.text.size(), 0U);
  } else {
    EXPECT_TRUE(input.text == bytes);
  }
}

TEST(HookInput, AnInputIsReadToItsEnd) {
  const std::string bytes = someBytes(3 * million);
  int count = 0;
  for (const auto& [name, make] : channels) {
    for (const std::size_t size : {0U, 1U, 2U, 255U, 16'383U, 16'384U, 16'385U, 32'767U, 32'768U, 32'769U,
                                   65'536U, 500'000U, 999'999U}) {
      SCOPED_TRACE(name + " " + std::to_string(size));
      const std::string_view input = std::string_view(bytes).substr(0, size);
      expectRead(readWritten(make(), input, million), input, million);
      ++count;
    }
  }
  EXPECT_EQ(count, 26);
}

TEST(HookInput, TheLimitIsExact) {
  const std::string bytes = someBytes(3 * million);
  int count = 0;
  for (const auto& [name, make] : channels) {
    for (const std::size_t limit :
         {0U, 1U, 10U, 16'383U, 16'384U, 16'385U, 20'000U, 32'768U, 65'535U, 1'000'000U}) {
      for (const std::size_t size :
           {limit - std::min<std::size_t>(limit, 1), limit, limit + 1, limit + 2, 2 * limit + 5}) {
        SCOPED_TRACE(name + " " + std::to_string(limit) + " " + std::to_string(size));
        const std::string_view input = std::string_view(bytes).substr(0, size);
        expectRead(readWritten(make(), input, limit), input, limit);
        ++count;
      }
    }
  }
  EXPECT_EQ(count, 100);
}

TEST(HookInput, PiecesOfAnySizeMakeTheSameInput) {
  const std::string bytes = someBytes(40'000);
  int count = 0;
  for (const auto& [name, make] : channels) {
    for (const std::size_t pieceSize : {1U, 7U, 100U, 4'096U, 16'384U, 16'385U}) {
      for (const std::size_t limit : {39'999U, 40'000U, 40'001U}) {
        SCOPED_TRACE(name + " " + std::to_string(pieceSize) + " " + std::to_string(limit));
        expectRead(readWritten(make(), bytes, limit, pieceSize), bytes, limit);
        ++count;
      }
    }
  }
  EXPECT_EQ(count, 36);
}

TEST(HookInput, OnlyTheRequestedFieldsOfAnEventAreKept) {
  const std::string content(900'000, 'x');
  const std::string front = R"({"session_id":"abc","tool_input":{"content":")";
  const std::string back = R"("},"cwd":"/home/\u00e9"})";
  for (const auto& [name, make] : channels) {
    for (const std::size_t pieceSize : {1'000U, 65'536U, 1'000'000U}) {
      SCOPED_TRACE(name + " " + std::to_string(pieceSize));
      const HookInput input = readWritten(make(), front + content + back, million, pieceSize);
      EXPECT_EQ(input.text, R"({"session_id":"abc","tool_input":{"":""},"cwd":"/home/\u00e9"})");
      EXPECT_EQ(input.size, front.size() + content.size() + back.size());
    }
  }
}

TEST(HookInput, AnEventIsTheSameInPiecesOfAnySize) {
  const std::string event =
      "{\"session_id\":\"a\\\"b\",\"other\":\"\\ud83d\\ude00\xF0\x9F\x98\x80\\n\\ud83d\",\"cwd\":\"/"
      "\xC3\xA9\"}";
  const std::string text = R"({"session_id":"a\"b","other":" \ud83d","cwd":"/)"
                           "\xC3\xA9"
                           R"("})";
  for (const auto& [name, make] : channels) {
    for (std::size_t pieceSize = 1; pieceSize <= event.size(); ++pieceSize) {
      EXPECT_EQ(readWritten(make(), event, million, pieceSize).text, text) << name << ' ' << pieceSize;
    }
  }
}

TEST(HookInput, AnInputFarTooLongIsCountedAndNotKept) {
  const std::string bytes = someBytes(40 * million);
  for (const auto& [name, make] : channels) {
    const HookInput input = readWritten(make(), bytes, million);
    EXPECT_EQ(input.size, 40 * million) << name;
    EXPECT_TRUE(input.text.empty()) << name;
  }
}

TEST(HookInput, AFileIsAnInputToo) {
  const test::ScratchDirectory directory;
  const std::string bytes = someBytes(100'000);
  test::writeFile(directory / "input", bytes);
  for (const std::size_t limit : {99'999U, 100'000U, 100'001U}) {
    const FileDescriptor file = FileDescriptor::open(directory / "input", O_RDONLY);
    expectRead(HookInput::read(file.number(), limit, keys), bytes, limit);
  }
}

TEST(HookInput, TheDescriptorStaysOpenAndIsReadFromWhereItIs) {
  const test::ScratchDirectory directory;
  test::writeFile(directory / "input", "0123456789");
  const FileDescriptor file = FileDescriptor::open(directory / "input", O_RDONLY);
  ASSERT_EQ(::lseek(file.number(), 4, SEEK_SET), 4);
  EXPECT_EQ(HookInput::read(file.number(), 100, keys).text, "456789");
  EXPECT_EQ(HookInput::read(file.number(), 100, keys).size, 0U);
  ASSERT_EQ(::lseek(file.number(), 0, SEEK_SET), 0);
  EXPECT_EQ(HookInput::read(file.number(), 100, keys).text, "0123456789");
}

TEST(HookInput, AnInputThatCannotBeReadIsEmpty) {
  const test::ScratchDirectory directory;
  const FileDescriptor folder = FileDescriptor::open(directory.string(), O_RDONLY);
  ASSERT_TRUE(folder.isOpen());
  const FileDescriptor writeOnly = FileDescriptor::open(directory / "output", O_WRONLY | O_CREAT, 0600);
  ASSERT_TRUE(writeOnly.isOpen());
  const FileDescriptor null = FileDescriptor::open("/dev/null", O_RDONLY);
  ASSERT_TRUE(null.isOpen());
  FileDescriptor closed = FileDescriptor::open("/dev/null", O_RDONLY);
  const int closedNumber = closed.number();
  closed.close();
  for (const int descriptor : {-1, closedNumber, folder.number(), writeOnly.number(), null.number()}) {
    const HookInput input = HookInput::read(descriptor, million, keys);
    EXPECT_EQ(input.size, 0U) << descriptor;
    EXPECT_TRUE(input.text.empty()) << descriptor;
  }
}

TEST(HookInput, AnInputThatFailsHalfwayEndsThere) {
  // A connection that its writer resets, by closing it with unread bytes.
  Ends ends = makeSockets();
  ASSERT_TRUE(File::writeAll(ends.reading.number(), "unread"));
  ASSERT_TRUE(File::writeAll(ends.writing.number(), "half"));
  ends.writing.close();
  const HookInput input = HookInput::read(ends.reading.number(), million, keys);
  EXPECT_EQ(input.size, input.text.size());
  EXPECT_TRUE(input.text == "half" || input.text.empty()) << input.text;
}

TEST(HookInput, ANonBlockingInputIsWaitedFor) {
  const std::string bytes = someBytes(50'000);
  for (const auto& [name, make] : channels) {
    Ends ends = make();
    setNonBlocking(ends.reading);
    const int reading = ends.reading.number();
    std::thread writer([&] {
      for (std::size_t i = 0; i < bytes.size(); i += 5'000) {
        // The writer waits until everything is read before it writes more, so the reader finds nothing again
        // and again.
        for (int unread = 1; unread > 0;) {
          if (::ioctl(reading, FIONREAD, &unread) != 0) break;
          std::this_thread::yield();
        }
        if (!File::writeAll(ends.writing.number(), std::string_view(bytes).substr(i, 5'000))) break;
      }
      ends.writing.close();
    });
    const HookInput input = HookInput::read(reading, million, keys);
    writer.join();
    SCOPED_TRACE(name);
    expectRead(input, bytes, million);
  }
}

TEST(HookInput, SignalsInterruptNothing) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction before {};
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
  const std::string bytes = someBytes(200'000);
  for (const auto& [name, make] : channels) {
    for (const bool nonBlocking : {false, true}) {
      SCOPED_TRACE(name + (nonBlocking ? " non-blocking" : ""));
      Ends ends = make();
      if (nonBlocking) setNonBlocking(ends.reading);
      const pthread_t reader = ::pthread_self();
      std::thread writer([&] {
        for (std::size_t i = 0; i < bytes.size(); i += 1'000) {
          for (int signals = 0; signals < 3; ++signals) {
            ::pthread_kill(reader, SIGUSR1);
            std::this_thread::yield();
          }
          if (!File::writeAll(ends.writing.number(), std::string_view(bytes).substr(i, 1'000))) break;
        }
        ends.writing.close();
      });
      const HookInput input = HookInput::read(ends.reading.number(), million, keys);
      writer.join();
      expectRead(input, bytes, million);
    }
  }
  ::sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
}  // namespace tavrin
