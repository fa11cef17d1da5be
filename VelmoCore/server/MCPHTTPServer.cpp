#include "server/MCPHTTPServer.h"

#include "Studio/MainQueue.h"
#include "server/HTTPConnection.h"
#include "server/MCPDispatcher.h"
#include "server/RequestGuard.h"
#include "server/VelmoInfo.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/ip/v6_only.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdint>

namespace velmo {

namespace {

// After a failed accept (typically: the process is out of file descriptors) the listener tries
// again after this pause instead of spinning or giving up.
constexpr std::chrono::milliseconds acceptRetryDelay{50};

} // namespace

struct MCPHTTPServer::Listener {
    asio::ip::tcp::acceptor acceptor;
    asio::steady_timer retry;
    explicit Listener(asio::io_context& context) : acceptor(context), retry(context) {}
};

MCPHTTPServer::MCPHTTPServer(std::uint16_t port, MCPDispatcher& dispatcher, Limits limits)
    : port_(port),
      dispatcher_(dispatcher),
      limits_(limits),
      context_(std::make_shared<asio::io_context>(1)),
      alive_(std::make_shared<bool>(true)) {}

MCPHTTPServer::~MCPHTTPServer() {
    if (thread_.joinable()) {
        asio::post(*context_, [this] {
            for (auto& listener : listeners_) {
                std::error_code ignored;
                listener->acceptor.close(ignored);
                listener->retry.cancel();
            }
            for (auto& weak : connections_)
                if (auto connection = weak.lock()) connection->close();
            connections_.clear();
        });
        work_.reset();
        thread_.join();
    }
}

void MCPHTTPServer::report(State state) {
    dispatcher_.mainQueue().post([this, alive = std::weak_ptr<bool>(alive_), state = std::move(state)] {
        if (alive.expired()) return;
        if (onState) onState(state);
    });
}

namespace {

// Raises the soft descriptor limit as far as the hard one allows and returns it (0 when unknown).
std::size_t raiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    if (limit.rlim_cur < limit.rlim_max) {
        rlimit raised{limit.rlim_max, limit.rlim_max};
        if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
    }
    return limit.rlim_cur == RLIM_INFINITY ? SIZE_MAX : std::size_t(limit.rlim_cur);
}

std::error_code openListener(asio::ip::tcp::acceptor& acceptor, const asio::ip::tcp::endpoint& endpoint) {
    std::error_code error;
    acceptor.open(endpoint.protocol(), error);
    if (error) return error;
    if (endpoint.address().is_v6()) acceptor.set_option(asio::ip::v6_only(true), error);
    acceptor.set_option(asio::socket_base::reuse_address(true), error);
    if (!error) acceptor.bind(endpoint, error);
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error) {
        std::error_code ignored;
        acceptor.close(ignored);
    }
    return error;
}

} // namespace

void MCPHTTPServer::start() {
    if (const std::size_t descriptors = raiseDescriptorLimit())
        connectionCap_ = std::max<std::size_t>(1, std::min(limits_.maxConnections, descriptors / 2));
    else
        connectionCap_ = limits_.maxConnections;
    auto v4 = std::make_shared<Listener>(*context_);
    if (std::error_code error = openListener(v4->acceptor, {asio::ip::address_v4::loopback(), port_})) {
        report(Failed{error.message()});
        return;
    }
    const std::uint16_t bound = v4->acceptor.local_endpoint().port();
    listeners_.push_back(v4);

    // ::1 on the same port. A system without IPv6 loopback is served on 127.0.0.1 alone; a port
    // taken on ::1 by another program is a failure like one taken on 127.0.0.1.
    auto v6 = std::make_shared<Listener>(*context_);
    if (std::error_code error = openListener(v6->acceptor, {asio::ip::address_v6::loopback(), bound})) {
        if (error != asio::error::address_family_not_supported && error != std::errc::address_family_not_supported &&
            error != std::errc::address_not_available) {
            std::error_code ignored;
            v4->acceptor.close(ignored);
            listeners_.clear();
            report(Failed{error.message()});
            return;
        }
    } else {
        listeners_.push_back(v6);
    }

    boundPort_ = bound;
    for (auto& listener : listeners_) accept(listener);
    work_ = std::make_shared<asio::executor_work_guard<asio::io_context::executor_type>>(context_->get_executor());
    thread_ = std::thread([context = context_] {
        pthread_setname_np(pthread_self(), "velmo.mcp.http");
        context->run();
    });
    report(Listening{port_});
}

void MCPHTTPServer::stop() {
    if (!thread_.joinable()) return;
    asio::post(*context_, [this] {
        for (auto& listener : listeners_) {
            std::error_code ignored;
            listener->acceptor.close(ignored);
            listener->retry.cancel();
        }
    });
}

void MCPHTTPServer::accept(std::shared_ptr<Listener> listener) {
    listener->acceptor.async_accept([this, listener](const std::error_code& error, asio::ip::tcp::socket socket) {
        if (error == asio::error::operation_aborted || !listener->acceptor.is_open()) return;
        if (error) {
            listener->retry.expires_after(acceptRetryDelay);
            listener->retry.async_wait([this, listener](const std::error_code& waitError) {
                if (!waitError) accept(listener);
            });
            return;
        }
        auto connection = std::make_shared<HTTPConnection>(
            context_, std::move(socket), limits_.idleTimeout,
            [this](HTTPRequest request, HTTPConnection::Respond respond) { route(std::move(request), std::move(respond)); });
        if (!makeRoom()) {
            // Every open connection is answering a request: this one is turned away at once
            // rather than holding a descriptor beyond the cap.
            connection->close();
            accept(listener);
            return;
        }
        connections_.push_back(connection);
        connection->start();
        accept(listener);
    });
}

// Keeps the open connections under the cap: forgets the closed ones, then closes the connection
// that has waited longest for a request. False when every connection is answering one.
bool MCPHTTPServer::makeRoom() {
    if (connections_.size() < connectionCap_) return true;
    connections_.remove_if([](const std::weak_ptr<HTTPConnection>& weak) {
        auto connection = weak.lock();
        return !connection || connection->closed();
    });
    if (connections_.size() < connectionCap_) return true;
    auto oldest = connections_.end();
    std::chrono::steady_clock::time_point oldestSince;
    for (auto it = connections_.begin(); it != connections_.end(); ++it) {
        auto since = it->lock()->idleSince();
        if (since && (oldest == connections_.end() || *since < oldestSince)) {
            oldest = it;
            oldestSince = *since;
        }
    }
    if (oldest == connections_.end()) return false;
    oldest->lock()->close();
    connections_.erase(oldest);
    return true;
}

void MCPHTTPServer::route(HTTPRequest request, std::function<void(HTTPResponse)> respond) {
    if (auto refusal = foreignRequestRefusal(request)) {
        respond(std::move(*refusal));
        return;
    }
    const std::string path = request.path.substr(0, request.path.find('?'));
    const std::string& method = request.method;

    if (method == "POST" && path == "/mcp") {
        auto type = request.headers.find("content-type");
        if (!isJSONContentType(type == request.headers.end() ? nullptr : &type->second)) {
            respond(HTTPResponse{415, {{"Content-Type", "text/plain"}}, "POST /mcp takes Content-Type: application/json"});
            return;
        }
        dispatcher_.handle(std::move(request.body), [respond = std::move(respond)](std::optional<std::string> bytes) {
            if (bytes) respond(HTTPResponse{200, {{"Content-Type", "application/json"}}, std::move(*bytes)});
            else respond(HTTPResponse{202, {}, {}});
        });
    } else if ((method == "GET" || method == "DELETE") && path == "/mcp") {
        respond(HTTPResponse{405, {{"Allow", "POST"}}, {}});
    } else if (method == "GET" && (path == "/" || path == "/health")) {
        respond(HTTPResponse{200,
                             {{"Content-Type", "text/plain"}},
                             "Velmo MCP server " + std::string(VelmoInfo::version) + ". POST JSON-RPC to /mcp\n"});
    } else {
        respond(HTTPResponse{404, {}, "Not found"});
    }
}

} // namespace velmo
