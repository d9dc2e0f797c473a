// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/web/web_server.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <httplib.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <list>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "simulator/error.hpp"
#include "simulator/files.hpp"
#include "simulator/text.hpp"
#include "simulator/web/answers.hpp"
#include "simulator/web/callers.hpp"
#include "simulator/web/connections.hpp"
#include "simulator/web/feed.hpp"
#include "simulator/web/page.hpp"

namespace quorra::simulator {
namespace {

using WebRequest = httplib::Request;
using WebResponse = httplib::Response;

constexpr const char* json_type = "application/json";
// As on the control socket.
constexpr std::size_t longest_command = 65536;
// For a browser that neither sends nor takes anything.
constexpr time_t patience_in_seconds = 5;
// A stream says so often that it is still there: that is how browsers that left are noticed.
constexpr std::chrono::seconds heartbeat{1};
constexpr std::string_view still_here = ": \n\n";
// For requests that are under way when the server ends.
constexpr std::chrono::seconds farewell{1};

enum HttpStatus : std::uint16_t {
  status_ok = 200,
  status_bad_request = 400,
  status_forbidden = 403,
  status_not_found = 404,
  status_wrong_method = 405,
  status_unavailable = 503,
};

// What there is, and how it is asked for. HEAD is as good as GET.
struct Route {
  std::string_view path;
  std::string_view method;
};
constexpr std::array routes{
    Route{"/", "GET"},       Route{"/state", "GET"},    Route{"/card", "GET"},
    Route{"/events", "GET"}, Route{"/control", "POST"},
};

std::vector<std::string> values_of(const WebRequest& request, const char* header) {
  std::vector<std::string> values;
  for (std::size_t i = 0; i < request.get_header_value_count(header); ++i)
    values.push_back(request.get_header_value(header, i));
  return values;
}

// What stands between the tags of the page's only element of that name, as a browser knows it
// again.
std::string hash_of_element(std::string_view name) {
  const std::string begin = fmt::format("<{}>", name);
  const std::size_t first = page.find(begin) + begin.size();
  const std::string_view text =
      page.substr(first, page.find(fmt::format("</{}>", name), first) - first);
  constexpr std::size_t hash_size = 32;
  std::array<unsigned char, hash_size> hash{};
  std::array<unsigned char, (hash_size + 2) / 3 * 4 + 1> encoded{};
  ::EVP_Digest(text.data(), text.size(), hash.data(), nullptr, ::EVP_sha256(), nullptr);
  ::EVP_EncodeBlock(encoded.data(), hash.data(), hash.size());
  return fmt::format("'sha256-{}'", reinterpret_cast<const char*>(encoded.data()));
}

// No page of others gets anything from here, and ours gets nothing from others.
httplib::Headers headers_of_all_answers() {
  const std::string policy = fmt::format(
      "default-src 'none'; script-src {}; style-src {}; connect-src 'self'; img-src data:; "
      "base-uri 'none'; form-action 'none'; frame-ancestors 'none'",
      hash_of_element("script"), hash_of_element("style"));
  return {{"Content-Security-Policy", policy},
          {"Cross-Origin-Resource-Policy", "same-origin"},
          {"Cross-Origin-Opener-Policy", "same-origin"},
          {"Referrer-Policy", "no-referrer"},
          {"X-Content-Type-Options", "nosniff"},
          {"X-Frame-Options", "DENY"},
          {"Cache-Control", "no-store"}};
}

// The threads on which one of the servers serves.
class Threads final : public httplib::TaskQueue {
  // Some versions want to know whether the task was taken.
  using Taken = decltype(std::declval<httplib::TaskQueue&>().enqueue({}));

 public:
  explicit Threads(Connections& connections) : connections_(connections) {}

  Taken enqueue(std::function<void()> task) override {
    connections_.serve(std::move(task));
    return static_cast<Taken>(true);
  }
  void shutdown() override {}

 private:
  Connections& connections_;
};

std::uint16_t port_of(int socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof(address);
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  if (address.ss_family == AF_INET)
    return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
  if (address.ss_family == AF_INET6)
    return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  return 0;
}

// The server keeps the sockets to itself, and goes on with one that sends now and then.
void break_connections_at(std::uint16_t port) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error))
    if (const auto number = parse_number(entry.path().filename().native()))
      if (const int socket = static_cast<int>(*number); port_of(socket) == port)
        ::shutdown(socket, SHUT_RDWR);
}

const sockaddr* any_address(const sockaddr_storage& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr_storage loopback(int family, std::uint16_t port) {
  sockaddr_storage address{};
  address.ss_family = static_cast<sa_family_t>(family);
  if (family == AF_INET) {
    auto& address_4 = reinterpret_cast<sockaddr_in&>(address);
    address_4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address_4.sin_port = htons(port);
  } else {
    auto& address_6 = reinterpret_cast<sockaddr_in6&>(address);
    address_6.sin6_addr = in6addr_loopback;
    address_6.sin6_port = htons(port);
  }
  return address;
}

// Not open, and errno says why, if the port cannot be had.
FileDescriptor listen_at(int family, std::uint16_t port) {
  constexpr int backlog = 64;
  const int on = 1;
  const sockaddr_storage address = loopback(family, port);
  FileDescriptor socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  // What is left of connections that are over does not keep a port.
  if (socket.is_open() &&
      ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) == 0 &&
      ::bind(socket.get(), any_address(address),
             family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6)) == 0 &&
      ::listen(socket.get(), backlog) == 0)
    return socket;
  const int error = errno;
  { const FileDescriptor closed = std::move(socket); }
  errno = error;
  return {};
}

// The sockets of a port, for IPv4 and, where this machine has it, for IPv6.
std::vector<FileDescriptor> sockets_of(std::uint16_t wanted_port) {
  constexpr int attempts = 16;
  for (int attempt = 1;; ++attempt) {
    std::vector<FileDescriptor> sockets;
    sockets.push_back(listen_at(AF_INET, wanted_port));
    if (sockets.front().is_open()) {
      sockets.push_back(listen_at(AF_INET6, port_of(sockets.front().get())));
      if (sockets.back().is_open()) return sockets;
      if (errno == EADDRNOTAVAIL || errno == EAFNOSUPPORT) {
        sockets.pop_back();
        return sockets;
      }
    }
    // What is free for IPv4 may be taken for IPv6.
    if (wanted_port != 0 || attempt == attempts)
      throw Error(fmt::format("port {} for the web page: {}", wanted_port, system_error_text()));
  }
}

// Takes requests from a socket that listens already.
class Server final : public httplib::Server {
 public:
  explicit Server(const FileDescriptor& listening) {
    svr_sock_ = ::fcntl(listening.get(), F_DUPFD_CLOEXEC, 0);
    if (svr_sock_ < 0) throw Error(fmt::format("the web page: {}", system_error_text()));
  }
};

// The page is to be there, but not instead of the reader.
void step_back() {
  constexpr int steps = 5;
  [[maybe_unused]] const int niceness = ::nice(steps);
}

}  // namespace

struct WebServer::Parts {
  Parts(VirtualReader& watched, std::uint16_t port);
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;
  ~Parts();

  std::uint16_t port() const { return port_of(sockets.front().get()); }
  void set_up(Server& server);
  bool is_admitted(const WebRequest& request) const;
  Server::HandlerResponse admit(const WebRequest& request, WebResponse& response) const;
  void carry_out(const WebRequest& request, WebResponse& response);
  void stream(WebResponse& response);

  VirtualReader& reader;
  std::vector<FileDescriptor> sockets;
  Callers callers;
  Feed feed;
  Connections connections;
  std::list<Server> servers;  // one for each socket
  std::vector<std::thread> threads;
};

WebServer::Parts::Parts(VirtualReader& watched, std::uint16_t wanted_port)
    : reader(watched),
      sockets(sockets_of(wanted_port)),
      callers(port()),
      feed(watched) {
  for (const FileDescriptor& socket : sockets)
    set_up(servers.emplace_back(socket));
  for (Server& server : servers)
    threads.emplace_back([&server] {
      step_back();
      server.listen_after_bind();
    });
  // One that does not run yet cannot be stopped.
  for (const Server& server : servers)
    while (!server.is_running())
      std::this_thread::yield();
}

WebServer::Parts::~Parts() {
  const std::uint16_t own_port = port();
  feed.end();
  for (Server& server : servers)
    server.stop();
  connections.close();
  if (!connections.are_over_within(farewell)) break_connections_at(own_port);
  for (std::thread& thread : threads)
    thread.join();
  connections.wait_until_over();
}

// One request for each connection: what is behind a request that was refused is never looked at.
void WebServer::Parts::set_up(Server& server) {
  server.new_task_queue = [this] { return std::make_unique<Threads>(connections).release(); };
  server.set_default_headers(headers_of_all_answers());
  server.set_keep_alive_max_count(1);
  server.set_keep_alive_timeout(patience_in_seconds);
  server.set_read_timeout(patience_in_seconds);
  server.set_write_timeout(patience_in_seconds);
  server.set_payload_max_length(longest_command);
  server.set_tcp_nodelay(true);
  server.set_pre_routing_handler([this](const WebRequest& request, WebResponse& response) {
    return admit(request, response);
  });
  server.set_expect_100_continue_handler([this](const WebRequest& request, WebResponse& response) {
    constexpr int go_on = 100;
    return admit(request, response) == Server::HandlerResponse::Handled ? response.status : go_on;
  });
  // Requests that cannot be understood get here without having been admitted.
  server.set_error_handler([this](const WebRequest& request, WebResponse& response) {
    if (!is_admitted(request)) response.status = status_forbidden;
  });
  server.set_exception_handler(
      [](const WebRequest&, WebResponse& response, const std::exception_ptr&) {
        response.headers.clear();
        response.status = status_unavailable;
      });

  server.Get("/", [](const WebRequest&, WebResponse& response) {
    response.set_content(page.data(), page.size(), "text/html; charset=utf-8");
  });
  server.Get("/state", [this](const WebRequest&, WebResponse& response) {
    response.set_content(reader.control(R"({"command":"state"})"), json_type);
  });
  server.Get("/card", [this](const WebRequest&, WebResponse& response) {
    response.set_content(card_as_json(reader.state()), json_type);
  });
  server.Get("/events", [this](const WebRequest&, WebResponse& response) { stream(response); });
  server.Post("/control", [this](const WebRequest& request, WebResponse& response) {
    carry_out(request, response);
  });
}

bool WebServer::Parts::is_admitted(const WebRequest& request) const {
  return callers.admit({.address = request.remote_addr,
                        .hosts = values_of(request, "Host"),
                        .origins = values_of(request, "Origin"),
                        .fetch_sites = values_of(request, "Sec-Fetch-Site")});
}

// Whoever may not ask is told nothing, not even what there is.
Server::HandlerResponse WebServer::Parts::admit(const WebRequest& request,
                                                WebResponse& response) const {
  const auto refuse = [&response](HttpStatus status) {
    response.status = status;
    return Server::HandlerResponse::Handled;
  };
  if (!is_admitted(request)) return refuse(status_forbidden);
  const auto* const route = std::ranges::find(routes, request.path, &Route::path);
  if (route == routes.end()) return refuse(status_not_found);
  if (request.method != route->method && !(request.method == "HEAD" && route->method == "GET")) {
    response.set_header("Allow", std::string(route->method));
    return refuse(status_wrong_method);
  }
  return Server::HandlerResponse::Unhandled;
}

void WebServer::Parts::carry_out(const WebRequest& request, WebResponse& response) {
  const std::string answer = reader.control(request.body);
  if (!answer.starts_with(R"({"ok":true)")) response.status = status_bad_request;
  response.set_content(answer + '\n', json_type);
}

void WebServer::Parts::stream(WebResponse& response) {
  const std::shared_ptr<Feed::Listener> listener = feed.listen();
  if (!listener) {
    response.status = status_unavailable;
    return;
  }
  response.set_chunked_content_provider(
      "text/event-stream", [this, listener](std::size_t /*offset*/, httplib::DataSink& sink) {
        const auto event = listener->next(heartbeat);
        if (feed.has_ended()) return false;
        const std::string text = event ? streamed(*event) : std::string(still_here);
        return sink.write(text.data(), text.size());
      });
}

WebServer::WebServer(VirtualReader& reader, std::uint16_t port)
    : parts_(std::make_unique<Parts>(reader, port)) {}

WebServer::~WebServer() = default;

std::string WebServer::address() const {
  return fmt::format("http://127.0.0.1:{}/", parts_->port());
}

}  // namespace quorra::simulator
