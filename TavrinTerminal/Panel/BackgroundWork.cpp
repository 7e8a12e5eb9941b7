#include "TavrinTerminal/Panel/BackgroundWork.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <mutex>
#include <utility>

#include "TavrinCore/Support/PosixError.hpp"

namespace tavrin {

// News for the loop, shared with the threads that write it.
struct BackgroundWork::Mailbox {
  std::mutex mutex;
  std::deque<std::function<void()>> news;
  uv_async_t* bell = nullptr;  // null once nobody reads any more

  void post(std::function<void()> body) {
    const std::scoped_lock lock(mutex);
    if (bell == nullptr) return;
    news.push_back(std::move(body));
    uv_async_send(bell);
  }

  void read() {
    std::deque<std::function<void()>> taken;
    {
      const std::scoped_lock lock(mutex);
      taken.swap(news);
    }
    for (const auto& body : taken) body();
  }
};

BackgroundWork::BackgroundWork(EventLoop& loop) : loop_(loop), mailbox_(std::make_shared<Mailbox>()) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) throwPosixError(errno, "make a pipe", "");
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  interrupt_ = FileDescriptor(ends[0]);
  interrupter_ = FileDescriptor(ends[1]);
  auto bell = std::make_unique<uv_async_t>();
  const int error = uv_async_init(&loop_.native(), bell.get(), [](uv_async_t* rung) {
    const auto mailbox = *static_cast<std::shared_ptr<Mailbox>*>(rung->data);
    mailbox->read();
  });
  if (error < 0) throwPosixError(-error, "wait for news of a thread", "");
  mailbox_->bell = bell.release();
  mailbox_->bell->data = &mailbox_;
}

BackgroundWork::~BackgroundWork() {
  static_cast<void>(!::write(interrupter_.number(), "!", 1));
  if (running_ != nullptr) {
    running_->owner = nullptr;
    // The piece may look at them until it ends.
    running_->interrupt = std::move(interrupt_);
    running_->interrupter = std::move(interrupter_);
  }
  const std::scoped_lock lock(mailbox_->mutex);
  CloseHandle<uv_async_t>()(std::exchange(mailbox_->bell, nullptr));
}

BackgroundWork::Post BackgroundWork::post() const {
  return [mailbox = mailbox_](std::function<void()> news) { mailbox->post(std::move(news)); };
}

void BackgroundWork::add(std::function<void()> work, std::function<void(std::exception_ptr)> done) {
  auto piece = std::make_unique<Piece>();
  piece->owner = this;
  piece->work = std::move(work);
  piece->done = std::move(done);
  waiting_.push_back(std::move(piece));
  start();
}

void BackgroundWork::start() {
  if (running_ != nullptr || waiting_.empty()) return;
  std::unique_ptr<Piece> piece = std::move(waiting_.front());
  waiting_.pop_front();
  piece->request.data = piece.get();
  const int error = uv_queue_work(
      &loop_.native(), &piece->request,
      [](uv_work_t* request) {
        Piece& own = *static_cast<Piece*>(request->data);
        try {
          own.work();
        } catch (...) {
          own.thrown = std::current_exception();
        }
      },
      [](uv_work_t* request, int) {
        const std::unique_ptr<Piece> own(static_cast<Piece*>(request->data));
        if (own->owner != nullptr) own->owner->ended(*own);
      });
  if (error < 0) throwPosixError(-error, "start a thread", "");
  running_ = piece.release();
}

void BackgroundWork::ended(const Piece& piece) {
  running_ = nullptr;
  // The loop may hear of the end before it hears of the news that came first.
  mailbox_->read();
  piece.done(piece.thrown);
  start();
}

}  // namespace tavrin
