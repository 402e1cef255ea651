#pragma once
// A small XFS4IoT WebSocket client (ws or wss) with a bound on every wait:
// siud-client uses it, and so do siud's tests and benchmark. Messages are
// read continuously into an inbox as they arrive.

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <nlohmann/json.hpp>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace siud {

namespace net = boost::asio;
namespace ssl = boost::asio::ssl;
namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;

class Client {
public:
    using json = nlohmann::json;
    using ms = std::chrono::milliseconds;

    // url: ws://HOST:PORT/PATH or wss://...; for wss, caFile is the
    // certificate to trust, whose name must match HOST.
    bool connect(const std::string& url, std::string& error, const std::string& caFile = "",
                 ms timeout = ms(5000)) {
        const auto scheme = url.find("://");
        const auto slash = url.find('/', scheme == std::string::npos ? 0 : scheme + 3);
        const auto colon = url.rfind(':', slash);
        if (scheme == std::string::npos || slash == std::string::npos || colon <= scheme + 2)
            return error = "not a ws:// or wss:// URL: " + url, false;
        const std::string kind = url.substr(0, scheme);
        host = url.substr(scheme + 3, colon - scheme - 3);
        const std::string port = url.substr(colon + 1, slash - colon - 1);
        const std::string path = url.substr(slash);
        beast::error_code ec;
        const auto found = tcp::resolver(ioc).resolve(host, port, ec);
        if (ec) return error = host + ": " + ec.message(), false;
        if (kind == "wss") {
            if (!caFile.empty()) {
                ctx.load_verify_file(caFile, ec);
                if (ec) return error = caFile + ": " + ec.message(), false;
            }
            tls = std::make_unique<Tls>(ioc, ctx);
            tls->next_layer().set_verify_mode(ssl::verify_peer);
            tls->next_layer().set_verify_callback(ssl::host_name_verification(host));
        } else if (kind == "ws") {
            plain = std::make_unique<Plain>(ioc);
        } else {
            return error = "not a ws:// or wss:// URL: " + url, false;
        }
        bool done = false;
        with([&](auto& ws) {
            beast::get_lowest_layer(ws).expires_after(timeout);
            beast::get_lowest_layer(ws).async_connect(found, [&](beast::error_code e, auto) {
                ec = e;
                done = true;
            });
        });
        if (!await([&] { return done; }, timeout) || ec) return fail("connect", ec, error);
        if (tls) {
            done = false;
            tls->next_layer().async_handshake(ssl::stream_base::client, [&](beast::error_code e) {
                ec = e;
                done = true;
            });
            if (!await([&] { return done; }, timeout) || ec) return fail("TLS", ec, error);
        }
        done = false;
        with([&](auto& ws) {
            ws.async_handshake(host + ":" + port, path, [&](beast::error_code e) {
                ec = e;
                done = true;
            });
        });
        if (!await([&] { return done; }, timeout) || ec) return fail("WebSocket", ec, error);
        with([](auto& ws) { beast::get_lowest_layer(ws).expires_never(); });
        read();
        return true;
    }

    bool send(const std::string& text, ms timeout = ms(5000)) {
        if (ended) return false;
        bool done = false;
        beast::error_code ec;
        auto keep = std::make_shared<const std::string>(text);
        with([&](auto& ws) {
            ws.text(true);
            ws.async_write(net::buffer(*keep), [&, keep](beast::error_code e, std::size_t) {
                ec = e;
                done = true;
            });
        });
        return await([&] { return done; }, timeout) && !ec;
    }

    // The next message in order of arrival.
    std::optional<std::string> receive(ms timeout) {
        await([&] { return !inbox.empty() || ended; }, timeout);
        if (inbox.empty()) return std::nullopt;
        std::string m = std::move(inbox.front());
        inbox.pop_front();
        return m;
    }

    // The first message (in order of arrival) that match accepts; the others
    // stay in the inbox.
    std::optional<json> next(const std::function<bool(const json&)>& match, ms timeout) {
        std::optional<json> found;
        std::size_t seen = 0;
        await(
            [&] {
                for (; seen < inbox.size() && !found; ++seen) {
                    json m = json::parse(inbox[seen], nullptr, false);
                    if (match(m)) {
                        found = std::move(m);
                        inbox.erase(inbox.begin() + static_cast<std::ptrdiff_t>(seen));
                    }
                }
                return found.has_value() || ended;
            },
            timeout);
        return found;
    }

    // Lets every message that arrives within the time come in.
    void drain(ms time) {
        await([] { return false; }, time);
    }

    std::size_t pending() const { return inbox.size(); }
    // Whether the connection ended, and the close frame's code if the server sent one.
    bool closed() const { return ended; }
    int closeCode() {
        int code = 0;
        with([&](auto& ws) { code = ws.reason().code; });
        return code;
    }
    void close() {
        if (ended) return;
        with([](auto& ws) {
            ws.async_close(websocket::close_code::normal, [](beast::error_code) {});
        });
        await([&] { return ended; }, ms(2000));
    }
    // The socket dropped without a closing handshake.
    void drop() {
        with([](auto& ws) { beast::get_lowest_layer(ws).socket().close(); });
    }

    static std::string command(const std::string& name, long long requestId,
                               const json& payload = json::object(), long long timeoutMs = -1) {
        json h = {{"name", name}, {"requestId", requestId}, {"type", "command"}, {"version", "1.0"}};
        if (timeoutMs >= 0) h["timeout"] = timeoutMs;
        return json{{"header", h}, {"payload", payload.is_null() ? json::object() : payload}}.dump();
    }
    static bool is(const json& m, const char* type, long long requestId = 0) {
        return m.is_object() && m["header"]["type"] == type &&
               (requestId == 0 || m["header"]["requestId"] == requestId);
    }

private:
    using tcp = boost::asio::ip::tcp;
    using Plain = boost::beast::websocket::stream<boost::beast::tcp_stream>;
    using Tls =
        boost::beast::websocket::stream<boost::beast::ssl_stream<boost::beast::tcp_stream>>;

    template <class F>
    void with(F&& f) {
        if (tls) f(*tls);
        else if (plain) f(*plain);
    }

    bool fail(const char* step, const beast::error_code& ec, std::string& error) {
        error = std::string(step) + ": " + (ec ? ec.message() : "timed out");
        ended = true;
        return false;
    }

    // Runs the client's I/O until done holds or the time is up.
    bool await(const std::function<bool()>& done, ms timeout) {
        const auto end = std::chrono::steady_clock::now() + timeout;
        ioc.restart();
        while (!done()) {
            const auto now = std::chrono::steady_clock::now();
            if (now >= end) return false;
            if (ioc.run_one_for(end - now) == 0 && ioc.stopped()) {
                if (done()) return true;
                if (std::chrono::steady_clock::now() >= end) return false;
                ioc.restart();
            }
        }
        return true;
    }

    void read() {
        with([&](auto& ws) {
            ws.async_read(buffer, [this](beast::error_code ec, std::size_t) {
                if (ec) {
                    ended = true;
                    return;
                }
                inbox.push_back(beast::buffers_to_string(buffer.data()));
                buffer.consume(buffer.size());
                read();
            });
        });
    }

    boost::asio::io_context ioc;
    ssl::context ctx{ssl::context::tls_client};
    std::unique_ptr<Plain> plain;
    std::unique_ptr<Tls> tls;
    std::string host;
    boost::beast::flat_buffer buffer;
    std::deque<std::string> inbox;
    bool ended = false;
};

}  // namespace siud
