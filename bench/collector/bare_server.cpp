// bare_server: the floor for the collector's intake. It reads each request whole, with the same
// library and coroutines, and answers 200 at once; it looks at nothing and keeps nothing. Prints
// its address and runs until it is killed.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <iostream>
#include <utility>

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;

asio::awaitable<void> serve(tcp::socket socket) {
  boost::beast::flat_buffer buffer;
  try {
    for (;;) {
      http::request<http::string_body> request;
      co_await http::async_read(socket, buffer, request, asio::use_awaitable);
      http::response<http::string_body> response(http::status::ok, request.version(), "OK");
      response.keep_alive(request.keep_alive());
      response.prepare_payload();
      co_await http::async_write(socket, response, asio::use_awaitable);
    }
  } catch (const boost::system::system_error&) {
    // The client has closed its connection.
  }
}

asio::awaitable<void> accept(tcp::acceptor acceptor) {
  for (;;) {
    tcp::socket socket = co_await acceptor.async_accept(asio::use_awaitable);
    asio::co_spawn(acceptor.get_executor(), serve(std::move(socket)), asio::detached);
  }
}

}  // namespace

int main() {
  asio::io_context network(1);
  tcp::acceptor acceptor(network, {asio::ip::address_v4::loopback(), 0});
  std::cout << "intake http://127.0.0.1:" << acceptor.local_endpoint().port() << "/collect\n"
            << "ready" << std::endl;
  asio::co_spawn(network, accept(std::move(acceptor)), asio::detached);
  network.run();
}
