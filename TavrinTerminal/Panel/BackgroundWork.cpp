#include "TavrinTerminal/Panel/BackgroundWork.hpp"

#include <utility>

#include "TavrinCore/Support/PosixError.hpp"

namespace tavrin {

BackgroundWork::~BackgroundWork() {
  if (running_ != nullptr) running_->owner = nullptr;
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
  piece.done(piece.thrown);
  start();
}

}  // namespace tavrin
