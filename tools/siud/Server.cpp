#include "tools/siud/Server.h"

#include "tools/siud/Protocol.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <deque>
#include <list>
#include <map>
#include <set>

namespace siud {

namespace net = boost::asio;
namespace ssl = boost::asio::ssl;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = net::ip::tcp;
using namespace std::chrono_literals;

namespace {

constexpr const char kPublisherPath[] = "/xfs4iot/v1.0";
// Messages waiting to be sent to one client; a client that lets more pile up
// is not reading and is closed.
constexpr std::size_t kMaxOutgoing = 1024;

const char* const kWorkerCommands[] = {"Common.Status", "Common.Capabilities",
                                       "Auxiliaries.SetAuxiliaries", "Lights.SetLight"};

class Peer;

// The publisher (no service) or one service, and its connected clients.
struct Endpoint {
    const ServiceConfig* service = nullptr;
    std::unique_ptr<Worker> worker;
    std::set<Peer*> peers;
};

// What a session needs of the server.
struct Shared {
    net::io_context& ioc;
    const Config& cfg;
    std::string scheme;
    Endpoint publisher;
    std::list<Endpoint> services;
};

class Peer {
public:
    virtual ~Peer() = default;
    virtual void send(std::string text) = 0;
    virtual void close(websocket::close_code code) = 0;
    std::set<std::string> registered;  // Auxiliaries fields this client gets events for
};

struct Pending {
    explicit Pending(net::io_context& ioc) : timer(ioc) {}
    net::steady_timer timer;
    std::shared_ptr<std::atomic<bool>> abandoned = std::make_shared<std::atomic<bool>>(false);
};

// One client connection; Next is the stream under the WebSocket: TCP, or TLS
// over TCP.
template <class Next>
class Session : public Peer, public std::enable_shared_from_this<Session<Next>> {
public:
    // Sessions keep the shared state alive: one still held by a handler when
    // the server is gone is destroyed with the io_context, and leaves its
    // endpoint then.
    template <class... Args>
    Session(std::shared_ptr<Shared> s, Args&&... args)
        : keep(std::move(s)), shared(*keep), ws(std::forward<Args>(args)...) {}
    ~Session() override { leave(); }

    void run() {
        beast::get_lowest_layer(ws).expires_after(10s);
        if constexpr (std::is_same_v<Next, beast::tcp_stream>) {
            readRequest();
        } else {
            ws.next_layer().async_handshake(ssl::stream_base::server,
                                            [self = this->shared_from_this()](beast::error_code ec) {
                                                if (!ec) self->readRequest();
                                            });
        }
    }

    void send(std::string text) override {
        if (closing) return;
        if (outgoing.size() >= kMaxOutgoing) return close(websocket::close_code::policy_error);
        outgoing.push_back(std::make_shared<const std::string>(std::move(text)));
        if (!writing) write();
    }

    void close(websocket::close_code code) override {
        if (closing || !accepted) return;
        closing = true;
        ws.async_close(code, [self = this->shared_from_this()](beast::error_code) {});
    }

private:
    void readRequest() {
        parser.emplace();
        parser->header_limit(8 * 1024);
        http::async_read(ws.next_layer(), buffer, *parser,
                         [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
                             if (!ec) self->upgrade();
                         });
    }

    Endpoint* route(const std::string& target) {
        if (target == kPublisherPath) return &shared.publisher;
        const std::string prefix = std::string(kPublisherPath) + "/";
        if (target.compare(0, prefix.size(), prefix) != 0) return nullptr;
        for (Endpoint& e : shared.services)
            if (target.substr(prefix.size()) == e.service->name) return &e;
        return nullptr;
    }

    void refuse(http::status status, const std::string& why) {
        response.emplace(status, parser->get().version());
        response->set(http::field::content_type, "text/plain");
        response->body() = why + "\n";
        response->prepare_payload();
        response->keep_alive(false);
        http::async_write(ws.next_layer(), *response,
                          [self = this->shared_from_this()](beast::error_code, std::size_t) {});
    }

    void upgrade() {
        const auto& req = parser->get();
        endpoint = route(std::string(req.target()));
        if (!websocket::is_upgrade(req)) return refuse(http::status::bad_request, "WebSocket only");
        if (endpoint == nullptr) return refuse(http::status::not_found, "no such service");
        host = std::string(req[http::field::host]);
        beast::get_lowest_layer(ws).expires_never();
        ws.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
        ws.read_message_max(shared.cfg.maxMessage);
        ws.async_accept(req, [self = this->shared_from_this()](beast::error_code ec) {
            if (!ec) self->accept();
        });
    }

    void accept() {
        accepted = true;
        if (endpoint->peers.size() >= shared.cfg.maxClients)
            return close(websocket::close_code::try_again_later);
        endpoint->peers.insert(this);
        joined = true;
        read();
    }

    void read() {
        ws.async_read(buffer, [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
            if (ec) return self->leave();  // closed, dropped, or too big (closed with 1009)
            const std::string text = beast::buffers_to_string(self->buffer.data());
            self->buffer.consume(self->buffer.size());
            self->received(text, self->ws.got_text());
            if (!self->closing) self->read();
        });
    }

    void write() {
        writing = true;
        ws.text(true);
        ws.async_write(net::buffer(*outgoing.front()),
                       [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
                           self->outgoing.pop_front();
                           if (!ec && !self->outgoing.empty()) return self->write();
                           self->writing = false;
                       });
    }

    // The client is gone: commands it left behind are abandoned, their
    // results dropped when they come.
    void leave() {
        if (joined) endpoint->peers.erase(this);
        joined = false;
        for (auto& [id, p] : pending) {
            p->abandoned->store(true);
            p->timer.cancel();
        }
        pending.clear();
    }

    void received(const std::string& text, bool isText) {
        Command c;
        std::string why;
        if (!isText || !parseCommand(text, c, why)) return send(acknowledge(c, "invalidMessage"));
        if (pending.count(c.requestId) != 0) return send(acknowledge(c, "invalidRequestID"));
        if (pending.size() >= shared.cfg.maxRequests) return send(acknowledge(c, "tooManyRequests"));
        send(acknowledge(c));
        auto p = std::make_shared<Pending>(shared.ioc);
        pending.emplace(c.requestId, p);
        if (endpoint->service == nullptr) return publisherCommand(c);
        if (c.name == "Auxiliaries.Register") return registerCommand(c);
        if (std::find(std::begin(kWorkerCommands), std::end(kWorkerCommands), c.name) ==
            std::end(kWorkerCommands))
            return complete(c, {"unsupportedCommand", c.name + " is not supported", {}});
        Job job;
        job.name = c.name;
        job.payload = c.payload;
        job.abandoned = p->abandoned;
        if (c.timeoutMs > 0) {
            job.deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(c.timeoutMs);
            p->timer.expires_after(std::chrono::milliseconds(c.timeoutMs));
            p->timer.async_wait([weak = this->weak_from_this(), c](beast::error_code ec) {
                if (auto self = weak.lock(); self && !ec)
                    self->complete(c, {"timeOut", "the command did not end within its timeout", {}},
                                   true);
            });
        }
        job.done = [weak = this->weak_from_this(), c, &ioc = shared.ioc](Outcome o) {
            net::post(ioc, [weak, c, o = std::move(o)] {
                if (auto self = weak.lock()) self->complete(c, o);
            });
        };
        endpoint->worker->submit(std::move(job));
    }

    void complete(const Command& c, const Outcome& o, bool timedOut = false) {
        const auto it = pending.find(c.requestId);
        if (it == pending.end()) return;  // timed out already
        if (timedOut) it->second->abandoned->store(true);
        it->second->timer.cancel();
        pending.erase(it);
        send(completion(c, o.code, o.description, o.payload));
    }

    void publisherCommand(const Command& c) {
        if (c.name != "ServicePublisher.GetServices")
            return complete(c, {"unsupportedCommand", c.name + " is not supported here", {}});
        json services = json::array();
        for (const Endpoint& e : shared.services)
            services.push_back({{"serviceURI", shared.scheme + "://" + host + kPublisherPath + "/" +
                                                   e.service->name}});
        complete(c, {"success", "", {{"vendorName", shared.cfg.vendorName}, {"services", services}}});
    }

    // {"safeDoor": "register", "heatSensor": "deregister", ...}; the board
    // section registers as a whole under its own name.
    void registerCommand(const Command& c) {
        std::set<std::string> next = registered;
        for (const auto& [field, what] : c.payload.items()) {
            FieldKind kind;
            if (!auxFieldKind(field, kind) && field != kBoardSection && field != "audibleAlarm")
                return complete(c, {"invalidData", "no Auxiliaries field " + field, {}});
            if (what == "register") next.insert(field);
            else if (what == "deregister") next.erase(field);
            else return complete(c, {"invalidData", field + " takes register or deregister", {}});
        }
        registered = next;
        json state = json::object();
        for (const AuxField& f : endpoint->service->auxiliaries)
            state[f.field] = registered.count(f.field) != 0 ? "register" : "deregister";
        if (endpoint->service->audibleAlarm)
            state["audibleAlarm"] = registered.count("audibleAlarm") != 0 ? "register" : "deregister";
        state[kBoardSection] = registered.count(kBoardSection) != 0 ? "register" : "deregister";
        complete(c, {"success", "", state});
    }

    std::shared_ptr<Shared> keep;
    Shared& shared;
    websocket::stream<Next> ws;
    beast::flat_buffer buffer;
    std::optional<http::request_parser<http::empty_body>> parser;
    std::optional<http::response<http::string_body>> response;
    Endpoint* endpoint = nullptr;
    std::string host;
    std::deque<std::shared_ptr<const std::string>> outgoing;
    std::map<std::int64_t, std::shared_ptr<Pending>> pending;
    bool writing = false, closing = false, accepted = false, joined = false;
};

}  // namespace

struct Server::Impl {
    Impl(net::io_context& io, const Config& c, const siuctl::SiuFunctions& s)
        : shared(std::make_shared<Shared>(Shared{io, c, c.tls() ? "wss" : "ws", {}, {}})),
          siu(s),
          acceptor(io) {}

    void acceptNext() {
        acceptor.async_accept([this](beast::error_code ec, tcp::socket socket) {
            if (ec) return;  // closed at shutdown
            if (tls)
                std::make_shared<Session<beast::ssl_stream<beast::tcp_stream>>>(
                    shared, std::move(socket), *tls)
                    ->run();
            else
                std::make_shared<Session<beast::tcp_stream>>(shared, std::move(socket))->run();
            acceptNext();
        });
    }

    std::shared_ptr<Shared> shared;
    const siuctl::SiuFunctions& siu;
    tcp::acceptor acceptor;
    std::optional<ssl::context> tls;
};

Server::Server(net::io_context& ioc, const Config& cfg, const siuctl::SiuFunctions& siu)
    : impl(std::make_unique<Impl>(ioc, cfg, siu)) {}

Server::~Server() {
    stopWorkers();
}

bool Server::start(std::string& error) {
    const Config& cfg = impl->shared->cfg;
    beast::error_code ec;
    const net::ip::address address = net::ip::make_address(cfg.address, ec);
    if (ec) return error = "not an address: " + cfg.address, false;
    if (!address.is_loopback() && !cfg.tls())
        return error = "listening on " + cfg.address +
                       " needs TLS: set tls_certificate and tls_private_key",
               false;
    if (cfg.tls()) {
        try {
            impl->tls.emplace(ssl::context::tls_server);
            impl->tls->set_options(ssl::context::default_workarounds | ssl::context::no_sslv2 |
                                   ssl::context::no_sslv3 | ssl::context::no_tlsv1 |
                                   ssl::context::no_tlsv1_1);
            impl->tls->use_certificate_chain_file(cfg.tlsCertificate);
            impl->tls->use_private_key_file(cfg.tlsPrivateKey, ssl::context::pem);
        } catch (const std::exception& e) {
            return error = std::string("TLS certificate or key: ") + e.what(), false;
        }
    }
    tcp::acceptor& a = impl->acceptor;
    const tcp::endpoint where(address, cfg.port);
    a.open(where.protocol(), ec);
    if (!ec) a.set_option(net::socket_base::reuse_address(true), ec);
    if (!ec) a.bind(where, ec);
    if (!ec) a.listen(net::socket_base::max_listen_connections, ec);
    if (ec) return error = "cannot listen on " + cfg.address + ":" + std::to_string(cfg.port) +
                           ": " + ec.message(),
                false;
    for (const ServiceConfig& s : cfg.services) {
        Endpoint& e = impl->shared->services.emplace_back();
        e.service = &s;
        e.worker = std::make_unique<Worker>(impl->siu, s, [this, &e](json change) {
            net::post(impl->shared->ioc, [&e, change = std::move(change)] {
                for (Peer* p : e.peers) {
                    const json part = forClient(change, p->registered);
                    if (!part.empty()) p->send(unsolicited("Common.StatusChangedEvent", part));
                }
            });
        });
        e.worker->start();
    }
    impl->acceptNext();
    return true;
}

std::string Server::origin() const {
    beast::error_code ec;
    const tcp::endpoint e = impl->acceptor.local_endpoint(ec);
    return impl->shared->scheme + "://" + e.address().to_string() + ":" + std::to_string(e.port());
}

void Server::shutdown() {
    beast::error_code ec;
    impl->acceptor.close(ec);
    const auto closeAll = [](Endpoint& e) {
        const std::set<Peer*> peers = e.peers;
        for (Peer* p : peers) p->close(websocket::close_code::going_away);
    };
    closeAll(impl->shared->publisher);
    for (Endpoint& e : impl->shared->services) closeAll(e);
}

bool Server::idle() const {
    if (!impl->shared->publisher.peers.empty()) return false;
    for (const Endpoint& e : impl->shared->services)
        if (!e.peers.empty()) return false;
    return true;
}

void Server::stopWorkers() {
    for (Endpoint& e : impl->shared->services)
        if (e.worker) e.worker->stop();
}

}  // namespace siud
