#include "collector/http/Server.hpp"

#include <microhttpd.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <charconv>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

#include "collector/http/EventStream.hpp"
#include "collector/http/Exchange.hpp"
#include "collector/http/Pacer.hpp"
#include "collector/http/Workers.hpp"

namespace collector::http {

namespace {

constexpr std::size_t streamBlock = 4096;

std::string addressText(const sockaddr* address) {
    if (address == nullptr)
        return "";
    if (address->sa_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, address, sizeof four);
        return std::string(reinterpret_cast<const char*>(&four.sin_addr), sizeof four.sin_addr);
    }
    if (address->sa_family == AF_INET6) {
        sockaddr_in6 six{};
        std::memcpy(&six, address, sizeof six);
        // A host of the sixth version has a whole network of addresses.
        return std::string(reinterpret_cast<const char*>(&six.sin6_addr), sizeof six.sin6_addr / 2);
    }
    return "";
}

MHD_Result toHeader(void* headers, MHD_ValueKind, const char* key, std::size_t keySize, const char* value,
    std::size_t valueSize) {
    const std::string_view name = key != nullptr ? std::string_view(key, keySize) : "";
    const std::string_view text = value != nullptr ? std::string_view(value, valueSize) : "";
    static_cast<Pairs*>(headers)->emplace_back(lowerCase(name), text);
    return MHD_YES;
}

// The body belongs to the response until it is sent.
struct OwnedResponse {
    MHD_Response* response = nullptr;
    OwnedResponse() = default;
    OwnedResponse(const OwnedResponse&) = delete;
    OwnedResponse& operator=(const OwnedResponse&) = delete;
    ~OwnedResponse() {
        if (response != nullptr)
            MHD_destroy_response(response);
    }
};

struct StreamReader {
    std::shared_ptr<EventStream> stream;
    MHD_Connection* connection;
};

ssize_t readStream(void* reader, std::uint64_t, char* buffer, std::size_t size) {
    auto& self = *static_cast<StreamReader*>(reader);
    const auto piece = self.stream->read(buffer, size, [&] { MHD_suspend_connection(self.connection); });
    return piece.isEnd ? MHD_CONTENT_READER_END_OF_STREAM : static_cast<ssize_t>(piece.size);
}

void deleteReader(void* reader) {
    auto* const self = static_cast<StreamReader*>(reader);
    self->stream->setWake(nullptr); // the connection may be gone from here on
    self->stream->end();
    delete self;
}

MHD_Response* streamResponse(const std::shared_ptr<EventStream>& stream, MHD_Connection* connection) {
    auto reader = std::make_unique<StreamReader>(StreamReader{stream, connection});
    stream->setWake([connection] { MHD_resume_connection(connection); });
    MHD_Response* const response = MHD_create_response_from_callback(
        MHD_SIZE_UNKNOWN, streamBlock, readStream, reader.get(), deleteReader);
    if (response == nullptr)
        stream->setWake(nullptr);
    else
        static_cast<void>(reader.release());
    return response;
}

// A body that is being sent, and the sum of all of them.
struct Body {
    std::string text;
    std::shared_ptr<std::atomic<std::size_t>> unsent;
    ~Body() { unsent->fetch_sub(text.size(), std::memory_order_relaxed); }
};

MHD_Response* bodyResponse(std::string body, const std::shared_ptr<std::atomic<std::size_t>>& unsent) {
    unsent->fetch_add(body.size(), std::memory_order_relaxed);
    std::unique_ptr<Body> owned(new Body{std::move(body), unsent});
    // Sent from where it is.
    MHD_Response* const response = MHD_create_response_from_buffer_with_free_callback_cls(
        owned->text.size(), owned->text.data(), [](void* self) { delete static_cast<Body*>(self); },
        owned.get());
    if (response != nullptr)
        static_cast<void>(owned.release());
    return response;
}

} // namespace

struct Server::Daemon {
    Daemon(const ServerOptions& serverOptions, const Service& requests)
        : options(serverOptions), service(requests), connections(serverOptions.connections),
          quick("orx-http", serverOptions.workers, true), slow("orx-command", serverOptions.slots, false) {}

    const ServerOptions options;
    const Service& service;
    Connections connections;
    MHD_Daemon* daemon = nullptr;
    Pacer pacer;
    Workers quick;
    Workers slow;
    std::array<std::atomic<std::uint64_t>, 6> byClass{};
    const std::shared_ptr<std::atomic<std::size_t>> unsent = std::make_shared<std::atomic<std::size_t>>(0);

    std::mutex mutex;
    std::condition_variable changed;
    std::set<std::shared_ptr<Pending>> pending; // not answered yet, or not yet taken
    std::size_t exchanges = 0;                  // dispatched and not completed
    bool isStopping = false;
    std::thread watcher;

    bool open(int listenSocket);
    void watch();
    void stop();
    MHD_Result access(MHD_Connection* connection, const char* method, const char* data, std::size_t* size,
        Exchange* exchange);
    void begin(Exchange& exchange, MHD_Connection* connection, const char* method);
    void dispatch(Exchange& exchange, MHD_Connection* connection);
    MHD_Result queue(Exchange& exchange, MHD_Connection* connection, Response response);
    void completed(Exchange* exchange);
};

namespace {

Connections::Id connectionOf(MHD_Connection* connection) {
    const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info != nullptr ? reinterpret_cast<Connections::Id>(info->socket_context) : 0;
}

Response stoppingResponse() {
    Response response = error(503, "stopping", "the collector ends");
    response.set("Connection", "close");
    return response;
}

// A body that its header says to be too large is refused before it is sent.
bool isTooLong(const Request& request, std::size_t limit) {
    const std::string_view text = trimmed(request.header("content-length"));
    std::uint64_t length = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), length);
    return !text.empty() && (read.ec != std::errc() || length > limit);
}

Response overloadedResponse() {
    Response response = error(503, "overloaded", "too much is being sent to slow clients");
    response.set("Retry-After", "5");
    return response;
}

Response tooLargeResponse(std::size_t limit) {
    return error(413, "too_large", "a body has at most " + std::to_string(limit) + " bytes");
}

} // namespace

void Server::Daemon::begin(Exchange& exchange, MHD_Connection* connection, const char* method) {
    exchange.hasBegun = true;
    exchange.connection = connectionOf(connection);
    exchange.request.method = method != nullptr ? method : "";
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, toHeader, &exchange.request.headers);
}

MHD_Result Server::Daemon::access(
    MHD_Connection* connection, const char* method, const char* data, std::size_t* size, Exchange* exchange) {
    if (exchange == nullptr)
        return MHD_NO;
    const std::size_t limit = service.policy().bodyLimit;
    if (!exchange->hasBegun) {
        begin(*exchange, connection, method);
        if (isTooLong(exchange->request, limit))
            return queue(*exchange, connection, tooLargeResponse(limit));
        return MHD_YES;
    }
    if (*size != 0) {
        exchange->isTooLarge = exchange->isTooLarge || exchange->request.body.size() + *size > limit;
        if (!exchange->isTooLarge)
            exchange->request.body.append(data, *size);
        *size = 0;
        return MHD_YES;
    }
    if (exchange->isTooLarge)
        return queue(*exchange, connection, tooLargeResponse(limit));
    if (!exchange->request.parseTarget(exchange->target))
        return queue(
            *exchange, connection, error(400, "bad_request", "the target of the request is no path"));
    if (exchange->pending == nullptr)
        dispatch(*exchange, connection);
    auto response = exchange->pending->takeOrSleep();
    return response ? queue(*exchange, connection, *std::move(response)) : MHD_YES;
}

void Server::Daemon::dispatch(Exchange& exchange, MHD_Connection* connection) {
    auto answer = std::make_shared<Pending>(connection);
    exchange.pending = answer;
    connections.working(exchange.connection);
    {
        const std::lock_guard lock(mutex);
        ++exchanges;
        if (isStopping)
            return answer->fulfil(stoppingResponse());
        pending.insert(answer);
    }
    const bool isSlow = service.lane(exchange.request) == Lane::slow;
    const auto work = [this, answer, request = exchange.request] { answer->fulfil(service.handle(request)); };
    if ((isSlow ? slow : quick).submit(work))
        return;
    Response busy =
        error(429, "too_many_streams", isSlow ? "all command slots are taken" : "no thread is free");
    busy.set("Retry-After", "1");
    answer->fulfil(std::move(busy));
}

MHD_Result Server::Daemon::queue(Exchange& exchange, MHD_Connection* connection, Response response) {
    const bool isStream = response.stream != nullptr;
    // Clients that take their answers slowly hold so much and no more.
    if (const std::size_t waiting = unsent->load(std::memory_order_relaxed);
        waiting != 0 && waiting + response.body.size() > options.unsentBytes)
        response = overloadedResponse();
    OwnedResponse owned;
    owned.response = isStream ? streamResponse(response.stream, connection)
                              : bodyResponse(std::move(response.body), unsent);
    if (owned.response == nullptr)
        return MHD_NO;
    if (!response.contentType.empty())
        MHD_add_response_header(owned.response, MHD_HTTP_HEADER_CONTENT_TYPE, response.contentType.c_str());
    for (const auto& [name, value] : response.headers)
        MHD_add_response_header(owned.response, name.c_str(), value.c_str());
    if (isStream)
        MHD_add_response_header(owned.response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    exchange.isQueued = true;
    const auto status = static_cast<unsigned>(response.status);
    byClass[status / 100 < byClass.size() ? status / 100 : 5].fetch_add(1, std::memory_order_relaxed);
    connections.answering(exchange.connection, response.stream);
    return MHD_queue_response(connection, status, owned.response);
}

void Server::Daemon::completed(Exchange* exchange) {
    if (exchange == nullptr)
        return;
    connections.receiving(exchange->connection);
    {
        const std::lock_guard lock(mutex);
        if (exchange->pending != nullptr) {
            --exchanges;
            pending.erase(exchange->pending);
        }
    }
    changed.notify_all();
    delete exchange;
}

bool Server::Daemon::open(int listenSocket) {
    using Access = MHD_Result (*)(
        void*, MHD_Connection*, const char*, const char*, const char*, const char*, std::size_t*, void**);
    const Access onAccess = [](void* self, MHD_Connection* connection, const char*, const char* method,
                                const char*, const char* data, std::size_t* size, void** exchange) {
        return static_cast<Daemon*>(self)->access(
            connection, method, data, size, static_cast<Exchange*>(*exchange));
    };
    const MHD_AcceptPolicyCallback onAccept = [](void* self, const sockaddr* address, socklen_t) {
        Connections& all = static_cast<Daemon*>(self)->connections;
        return Pacer::isOurs(address) || all.mayEnter(addressText(address)) ? MHD_YES : MHD_NO;
    };
    using UriLog = void* (*)(void*, const char*, MHD_Connection*);
    const UriLog onTarget = [](void*, const char* target, MHD_Connection*) -> void* {
        auto* const exchange = new Exchange;
        exchange->target = target != nullptr ? target : "";
        return exchange;
    };
    const MHD_RequestCompletedCallback onCompleted = [](void* self, MHD_Connection*, void** exchange,
                                                         MHD_RequestTerminationCode) {
        static_cast<Daemon*>(self)->completed(static_cast<Exchange*>(*exchange));
        *exchange = nullptr;
    };
    const MHD_NotifyConnectionCallback onConnection = [](void* self, MHD_Connection* connection, void** id,
                                                          MHD_ConnectionNotificationCode code) {
        auto& server = *static_cast<Daemon*>(self);
        const bool isEnd = code == MHD_CONNECTION_NOTIFY_CLOSED;
        const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
        const sockaddr* const address = info != nullptr ? info->client_addr : nullptr;
        if (Pacer::isOurs(address))
            return isEnd ? server.pacer.closed(server.daemon) : server.pacer.started(connection);
        if (isEnd)
            return server.connections.leave(reinterpret_cast<Connections::Id>(*id));
        const auto* const socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        *id = reinterpret_cast<void*>(
            server.connections.enter(socket != nullptr ? socket->connect_fd : -1, addressText(address)));
    };
    // What it would print of clients that speak no HTTP is theirs to make, line by line.
    const auto quiet = [](void*, const char*, va_list) {};
    // poll and not epoll: the library's use of epoll is edge-triggered, and the end of a client can get lost
    // between two edges. With some hundred connections there is nothing to be won by it.
    constexpr unsigned flags =
        MHD_USE_POLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ITC | MHD_USE_ERROR_LOG;
    // Of its own limit there is more, so that ours closes at once what is too much.
    const auto limit = static_cast<unsigned>(options.connections.total + 16);
    daemon = MHD_start_daemon(flags, 0, onAccept, this, onAccess, this, MHD_OPTION_EXTERNAL_LOGGER,
        static_cast<MHD_LogCallback>(quiet), nullptr, MHD_OPTION_NOTIFY_COMPLETED, onCompleted, this,
        MHD_OPTION_NOTIFY_CONNECTION, onConnection, this, MHD_OPTION_URI_LOG_CALLBACK, onTarget, this,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, options.headerMemory, MHD_OPTION_CONNECTION_LIMIT, limit,
        MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>(options.silence.count()),
        MHD_OPTION_LISTEN_SOCKET, listenSocket, MHD_OPTION_END);
    if (daemon == nullptr)
        return false;
    pacer.keep(daemon);
    watcher = std::thread([this] { watch(); });
    pthread_setname_np(watcher.native_handle(), "orx-watch");
    return true;
}

void Server::Daemon::watch() {
    std::unique_lock lock(mutex);
    while (!changed.wait_for(lock, options.watchPeriod, [this] { return isStopping; })) {
        lock.unlock();
        connections.watch(Connections::Clock::now());
        pacer.keep(daemon);
        lock.lock();
    }
}

void Server::Daemon::stop() {
    std::set<std::shared_ptr<Pending>> waiting;
    {
        const std::lock_guard lock(mutex);
        if (isStopping || daemon == nullptr)
            return;
        isStopping = true;
        waiting.swap(pending);
    }
    changed.notify_all();
    watcher.join();
    const int listening = MHD_quiesce_daemon(daemon);
    for (const auto& each : waiting)
        each->fulfil(stoppingResponse());
    connections.endStreams();
    {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, options.patienceAtEnd, [this] { return exchanges == 0; });
    }
    connections.endStreams(); // of requests that were answered meanwhile
    pacer.end();
    MHD_stop_daemon(daemon);
    daemon = nullptr;
    if (listening >= 0)
        close(listening);
}

Server::Server(std::unique_ptr<Daemon> daemon) : daemon_(std::move(daemon)) {}

Server::~Server() {
    stop();
    finish();
}

std::unique_ptr<Server> Server::start(
    const ServerOptions& options, const Service& service, int listenSocket, std::string& error) {
    auto daemon = std::make_unique<Daemon>(options, service);
    if (!daemon->open(listenSocket)) {
        error = "cannot start the HTTP server";
        close(listenSocket);
        return nullptr;
    }
    return std::unique_ptr<Server>(new Server(std::move(daemon)));
}

void Server::stop() {
    daemon_->stop();
}

void Server::finish() {
    daemon_->quick.stop();
    daemon_->slow.stop();
}

ServerCounters Server::counters() const {
    ServerCounters counters;
    for (std::size_t i = 0; i < daemon_->byClass.size(); ++i) {
        counters.byClass[i] = daemon_->byClass[i].load(std::memory_order_relaxed);
        counters.requests += counters.byClass[i];
    }
    counters.connections = daemon_->connections.size();
    counters.refusedConnections = daemon_->connections.refused();
    counters.timedOutConnections = daemon_->connections.timedOut();
    counters.busySlots = daemon_->slow.busy();
    return counters;
}

} // namespace collector::http
