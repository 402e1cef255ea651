#pragma once
// The WebSocket side: a publisher endpoint /xfs4iot/v1.0 that lists the
// services, and one endpoint /xfs4iot/v1.0/NAME per service, all on one
// port, all I/O on the io_context's thread. Board work goes to the service's
// Worker; its results and status changes come back posted to that thread.

#include "tools/siud/Config.h"
#include "tools/siud/Worker.h"

#include <boost/asio/io_context.hpp>

#include <memory>
#include <string>

namespace siud {

class Server {
public:
    Server(boost::asio::io_context& ioc, const Config& cfg, const siuctl::SiuFunctions& siu);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Binds and listens (port 0: any free port), starts the workers. False
    // and a reason when the address cannot be used, a non-loopback address
    // has no TLS, or the certificate cannot be loaded.
    bool start(std::string& error);
    // The address and port listened on, as "ws://127.0.0.1:5846".
    std::string origin() const;
    // Stops accepting and closes every client (1001 going away).
    void shutdown();
    // No client is connected any more.
    bool idle() const;
    // Closes every service (waits for the command each is running).
    void stopWorkers();

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace siud
