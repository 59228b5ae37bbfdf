#include "collector/fleet/Load.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>

#include <nlohmann/json.hpp>

#include "platform/UniqueHandle.h"
#include "upload/DeliveryVerdict.h"

namespace pelto::collector {

namespace {

using Clock = std::chrono::steady_clock;

/// Longer than any pause of a collector that works.
constexpr timeval answer_timeout{30, 0};
constexpr std::chrono::milliseconds first_pause{50};
constexpr std::chrono::milliseconds longest_pause{1000};

struct SocketTraits {
  using Handle = int;
  static Handle GetInvalid() { return -1; }
  static void Close(Handle handle) { close(handle); }
};
using Socket = CUniqueHandle<SocketTraits>;

struct AddressListDeleter {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

AddressList resolve(const CollectorAddress& address) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list) != 0) {
    throw std::runtime_error("the host " + address.host + " is not known");
  }
  return AddressList(list);
}

bool send_all(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

struct Response {
  int status = 0;
  std::string body;
};

/// The response in `text`, once it is whole: by its length, or at the connection's end.
std::optional<Response> parse_response(const std::string& text, bool is_at_end) {
  constexpr std::string_view header_end = "\r\n\r\n";
  constexpr std::string_view length_field = "\r\nContent-Length: ";
  constexpr std::size_t status_position = 9;
  const std::size_t end = text.find(header_end);
  if (end == std::string::npos || !text.starts_with("HTTP/1.")) return std::nullopt;
  const std::string body = text.substr(end + header_end.size());
  const std::size_t field = text.substr(0, end).find(length_field);
  if (field == std::string::npos && !is_at_end) return std::nullopt;
  if (field != std::string::npos &&
      body.size() < std::strtoul(text.c_str() + field + length_field.size(), nullptr, 10)) {
    return std::nullopt;
  }
  return Response{std::atoi(text.c_str() + status_position), body};
}

/// One request on a connection of its own. None without a whole response.
std::optional<Response> exchange(const addrinfo& address, const std::string& request) {
  const Socket socket(
      ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol));
  if (!socket) return std::nullopt;
  setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &answer_timeout, sizeof answer_timeout);
  setsockopt(socket.Get(), SOL_SOCKET, SO_SNDTIMEO, &answer_timeout, sizeof answer_timeout);
  if (connect(socket.Get(), address.ai_addr, address.ai_addrlen) != 0) return std::nullopt;
  // A refusal can come before the whole request has been sent, so the response is read anyway.
  send_all(socket.Get(), request);
  std::string text;
  char buffer[4096];
  for (;;) {
    const ssize_t count = recv(socket.Get(), buffer, sizeof buffer, 0);
    if (count > 0) text.append(buffer, static_cast<std::size_t>(count));
    if (auto response = parse_response(text, count <= 0)) return response;
    if (count <= 0) return std::nullopt;
  }
}

bool is_worth_a_retry(const std::optional<Response>& response) {
  constexpr int too_many_requests = 429;
  constexpr int unavailable = 503;
  return !response || response->status == too_many_requests || response->status == unavailable;
}

bool is_confirmed(const std::optional<Response>& response) {
  return response && JudgeDelivery(static_cast<unsigned long>(response->status), response->body) ==
                         DeliveryVerdict::Delivered;
}

/// A thread that sends the requests of its installations, one after the other.
class Worker {
 public:
  Worker(const addrinfo& address, const LoadOptions& options)
      : address_(&address), options_(&options) {}

  /// `number` is the request's place among those of all workers.
  void add(const PreparedRequest& request, std::size_t number) {
    tasks_.push_back({&request.bytes, number});
  }

  void run(Clock::time_point start) {
    for (const Task& task : tasks_) {
      Clock::time_point due = start;
      if (options_->rate > 0) {
        due += std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(static_cast<double>(task.number) / options_->rate));
        std::this_thread::sleep_until(due);
      } else {
        due = Clock::now();
      }
      deliver(*task.request, due);
    }
  }

  const LoadSummary& summary() const { return summary_; }

 private:
  struct Task {
    const std::string* request;
    std::size_t number;
  };

  void deliver(const std::string& request, Clock::time_point due) {
    const Clock::time_point give_up = Clock::now() + options_->patience;
    std::chrono::milliseconds pause = first_pause;
    std::optional<Response> response = exchange(*address_, request);
    while (is_worth_a_retry(response) && Clock::now() < give_up) {
      std::this_thread::sleep_for(pause);
      pause = std::min(pause * 2, longest_pause);
      ++summary_.retries;
      response = exchange(*address_, request);
    }
    if (is_confirmed(response)) {
      ++summary_.confirmed;
      summary_.latencies.push_back(
          std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - due));
    } else {
      ++summary_.failed;
    }
  }

  const addrinfo* address_;
  const LoadOptions* options_;
  std::vector<Task> tasks_;
  LoadSummary summary_;
};

/// In milliseconds.
double quantile(const std::vector<std::chrono::microseconds>& sorted, double share) {
  if (sorted.empty()) return 0;
  const auto position = static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1));
  return static_cast<double>(sorted[position].count()) / 1000;
}

}  // namespace

LoadSummary send_requests(const std::vector<PreparedRequest>& requests,
                          const LoadOptions& options) {
  const AddressList address = resolve(options.address);
  const auto worker_count = static_cast<std::size_t>(std::max(options.connections, 1));
  std::vector<Worker> workers(worker_count, Worker(*address, options));
  for (std::size_t i = 0; i < requests.size(); ++i) {
    workers[static_cast<std::size_t>(requests[i].installation) % worker_count].add(requests[i], i);
  }
  const Clock::time_point start = Clock::now();
  {
    std::vector<std::jthread> threads;
    threads.reserve(workers.size());
    for (Worker& worker : workers) threads.emplace_back([&] { worker.run(start); });
  }
  LoadSummary total;
  for (const PreparedRequest& request : requests) total.bytes += std::ssize(request.bytes);
  total.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  for (const Worker& worker : workers) {
    const LoadSummary& summary = worker.summary();
    total.confirmed += summary.confirmed;
    total.failed += summary.failed;
    total.retries += summary.retries;
    total.latencies.insert(total.latencies.end(), summary.latencies.begin(),
                           summary.latencies.end());
  }
  std::ranges::sort(total.latencies);
  return total;
}

std::string format_summary(const LoadSummary& summary) {
  nlohmann::ordered_json json;
  json["confirmed"] = summary.confirmed;
  json["failed"] = summary.failed;
  json["retries"] = summary.retries;
  json["bytes"] = summary.bytes;
  json["seconds"] = summary.seconds;
  json["per_second"] =
      summary.seconds > 0 ? static_cast<double>(summary.confirmed) / summary.seconds : 0;
  json["latency_ms"] = {{"p50", quantile(summary.latencies, 0.5)},
                        {"p99", quantile(summary.latencies, 0.99)},
                        {"max", quantile(summary.latencies, 1)}};
  return json.dump();
}

}  // namespace pelto::collector
