// A TCP server for a device stand-in: it accepts any number of clients and
// gives each connection a handler of its own, made by a factory, so that each
// client sees its own device state. The server knows nothing of frames: a
// handler turns the bytes that arrive into the bytes that go back, and may
// push bytes on a timer.
#pragma once

#include "DevicePort.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zorv::wire
{

// What a handler sends back to its client, and whether the connection ends
// after those bytes are sent (a device that hangs up mid-transfer).
struct HandlerOutput
{
    HandlerOutput(std::string sent = {}, bool closeAfter = false) : bytes(std::move(sent)), close(closeAfter) {}

    std::string bytes;
    bool close = false;
    std::vector<std::string> pieces;  // sent after bytes, each with a write of its own
};

// One connection's handler. It is used from the server's thread only and is
// destroyed when its connection ends.
class ConnectionHandler
{
public:
    virtual ~ConnectionHandler() = default;

    // The bytes that arrived, in the pieces in which they arrived.
    virtual HandlerOutput onReceive(const std::string& bytes) = 0;

    // Called every push interval (when one is set) while the client is connected.
    virtual HandlerOutput onPushTimer() { return {}; }
};

struct ClientInfo
{
    unsigned int id = 0;  // 1 for the first client accepted, then 2, ...
    std::string address;
    std::uint16_t port = 0;
};

using HandlerFactory = std::function<std::unique_ptr<ConnectionHandler>(const ClientInfo&)>;

struct ServerOptions
{
    std::string host = "127.0.0.1";
    std::uint16_t port = kDefaultDevicePort;      // 0: a free port (see TcpServer::port)
    std::chrono::milliseconds pushInterval{0};    // 0: no push timer
    bool stopOnSignals = true;                    // SIGINT and SIGTERM stop run()
    std::function<void(const std::string&)> log;  // one line per event, when set
};

class TcpServer
{
public:
    // Binds and listens at once. Throws WireError (Failed) when the address
    // cannot be bound, naming it.
    TcpServer(ServerOptions options, HandlerFactory factory);
    ~TcpServer();
    TcpServer(const TcpServer&) = delete;
    TcpServer& operator=(const TcpServer&) = delete;

    // The port listened on.
    std::uint16_t port() const;

    // Serves clients until stop() is called or (with stopOnSignals) SIGINT
    // or SIGTERM arrives; then closes every connection and returns.
    void run();

    // Asks run() to return; callable from any thread and from a handler.
    void stop();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace zorv::wire
