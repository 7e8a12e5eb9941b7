#include "TavrinTerminal/System/HealthProbe.hpp"

#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <utility>

namespace tavrin {

namespace {

constexpr std::string_view answerStart = "HTTP/";

}  // namespace

// A request to one server. Its connection outlives it until the loop has closed the connection.
class HealthProbe::Request {
 public:
  Request(HealthProbe& probe, const LocalServer& server)
      : probe_(probe),
        id_(server.id()),
        port_(server.port()),
        request_(requestFor(server)),
        addresses_(addressesOf(server)),
        timeout_(probe.loop_, [this] { end(ServerHealth::notResponding); }) {
    timeout_.start(patience);
    tryNext();
  }
  ~Request() { drop(); }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

 private:
  // What libuv may still use after this request is gone.
  struct Connection {
    uv_tcp_t socket{};
    uv_connect_t connecting{};
    uv_write_t writing{};
    std::string request;
    std::array<char, 64> bytes{};
    Request* owner = nullptr;
  };

  static Request* ownerOf(void* data) { return static_cast<Connection*>(data)->owner; }

  void drop() {
    if (connection_ == nullptr) return;
    Connection* const dropped = std::exchange(connection_, nullptr);
    dropped->owner = nullptr;
    uv_close(reinterpret_cast<uv_handle_t*>(&dropped->socket),
             [](uv_handle_t* closed) { delete static_cast<Connection*>(closed->data); });
  }

  void tryNext() {
    drop();
    answer_.clear();
    if (next_ == addresses_.size()) {
      // Not now, because a caller may still be using this request.
      timeout_.start(std::chrono::milliseconds(0));
      return;
    }
    const std::string& address = addresses_[next_++];
    sockaddr_storage place{};
    const bool isV6 = address.find(':') != std::string::npos;
    if (isV6) {
      uv_ip6_addr(address.c_str(), port_, reinterpret_cast<sockaddr_in6*>(&place));
    } else {
      uv_ip4_addr(address.c_str(), port_, reinterpret_cast<sockaddr_in*>(&place));
    }
    connection_ = new Connection;
    connection_->owner = this;
    connection_->request = request_;
    connection_->socket.data = connection_;
    connection_->connecting.data = connection_;
    uv_tcp_init(&probe_.loop_.native(), &connection_->socket);
    const int error =
        uv_tcp_connect(&connection_->connecting, &connection_->socket,
                       reinterpret_cast<const sockaddr*>(&place), [](uv_connect_t* connecting, int status) {
                         if (Request* const own = ownerOf(connecting->data)) own->connected(status);
                       });
    if (error != 0) tryNext();
  }

  void connected(int status) {
    if (status != 0) {
      tryNext();
      return;
    }
    uv_buf_t bytes =
        uv_buf_init(connection_->request.data(), static_cast<unsigned>(connection_->request.size()));
    uv_write(&connection_->writing, reinterpret_cast<uv_stream_t*>(&connection_->socket), &bytes, 1, nullptr);
    uv_read_start(
        reinterpret_cast<uv_stream_t*>(&connection_->socket),
        [](uv_handle_t* socket, std::size_t, uv_buf_t* buffer) {
          auto& own = *static_cast<Connection*>(socket->data);
          *buffer = uv_buf_init(own.bytes.data(), static_cast<unsigned>(own.bytes.size()));
        },
        [](uv_stream_t* socket, ssize_t count, const uv_buf_t* buffer) {
          Request* const own = ownerOf(socket->data);
          if (own != nullptr && count != 0)
            own->hear(count < 0 ? std::string_view()
                                : std::string_view(buffer->base, static_cast<std::size_t>(count)));
        });
  }

  // Empty `bytes` mean the end of the answer.
  void hear(std::string_view bytes) {
    answer_ += bytes;
    const std::string_view seen = std::string_view(answer_).substr(0, answerStart.size());
    if (seen == answerStart) {
      end(ServerHealth::responding);
    } else if (bytes.empty() || !answerStart.starts_with(seen)) {
      end(ServerHealth::notResponding);
    }
  }

  // Destroys this request.
  void end(ServerHealth health) { probe_.ended(std::string(id_), health); }

  HealthProbe& probe_;
  std::string id_;
  int port_;
  std::string request_;
  std::vector<std::string> addresses_;
  std::size_t next_ = 0;
  std::string answer_;
  Timer timeout_;
  Connection* connection_ = nullptr;  // closed and freed by the loop
};

HealthProbe::HealthProbe(EventLoop& loop, Found found) : loop_(loop), found_(std::move(found)) {}

HealthProbe::~HealthProbe() = default;

std::vector<std::string> HealthProbe::addressesOf(const LocalServer& server) {
  constexpr std::string_view loopbackNet = "127.";
  if (!server.isWeb() || server.port() <= 0) return {};
  if (server.host == "localhost") return {"127.0.0.1", "::1"};
  sockaddr_in address{};
  const bool isLoopback = server.host == "::1" || (server.host.starts_with(loopbackNet) &&
                                                   uv_ip4_addr(server.host.c_str(), 0, &address) == 0);
  if (!isLoopback) return {};
  return {server.host};
}

std::string HealthProbe::requestFor(const LocalServer& server) {
  return "HEAD / HTTP/1.1\r\nHost: " + server.url().substr(std::string_view("http://").size()) +
         "\r\nUser-Agent: tavrin\r\nAccept: */*\r\nConnection: close\r\n\r\n";
}

void HealthProbe::ask(const LocalServer& server) {
  const auto isSame = [&](const LocalServer& other) { return other.id() == server.id(); };
  if (running_.contains(server.id()) || std::ranges::any_of(waiting_, isSame) || addressesOf(server).empty())
    return;
  waiting_.push_back(server);
  startNext();
}

void HealthProbe::startNext() {
  while (!waiting_.empty() && running_.size() < mostAtOnce) {
    const LocalServer server = std::move(waiting_.front());
    waiting_.pop_front();
    running_.emplace(server.id(), std::make_unique<Request>(*this, server));
  }
}

void HealthProbe::ended(const std::string& id, ServerHealth health) {
  running_.erase(id);
  found_(id, health);
  startNext();
}

}  // namespace tavrin
