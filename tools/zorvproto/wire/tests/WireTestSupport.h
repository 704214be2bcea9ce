// Helpers shared by the wire tests: what a call throws, and a TcpServer run
// on a thread of its own for the length of a test.
#pragma once

#include "TcpServer.h"
#include "Transport.h"

#include <chrono>
#include <string>
#include <thread>

namespace wiretest
{

using namespace std::chrono_literals;

inline const char* kindName(zorv::wire::WireErrc kind)
{
    using zorv::wire::WireErrc;
    switch (kind)
    {
    case WireErrc::Unreachable:
        return "Unreachable";
    case WireErrc::Refused:
        return "Refused";
    case WireErrc::Closed:
        return "Closed";
    case WireErrc::Timeout:
        return "Timeout";
    case WireErrc::NoDevice:
        return "NoDevice";
    case WireErrc::Failed:
        return "Failed";
    }
    return "?";
}

// "Kind: message" of the WireError that call throws, or "no error".
template <class Call>
std::string wireFailure(Call&& call)
{
    try
    {
        call();
    }
    catch (const zorv::wire::WireError& e)
    {
        return std::string(kindName(e.kind())) + ": " + e.what();
    }
    return "no error";
}

// Receives until want bytes have arrived (or a receive throws).
inline std::string receiveExactly(zorv::wire::Transport& t, size_t want)
{
    std::string got;
    while (got.size() < want)
    {
        got += t.receive(2s);
    }
    return got;
}

// A server on 127.0.0.1, on a free port, serving from its own thread until
// the object goes.
class ServerThread
{
public:
    ServerThread(zorv::wire::HandlerFactory factory, std::chrono::milliseconds pushInterval = 0ms,
                 bool stopOnSignals = false)
        : m_server(options(pushInterval, stopOnSignals), std::move(factory)), m_thread([this] { m_server.run(); })
    {
    }

    ~ServerThread()
    {
        m_server.stop();
        m_thread.join();
    }

    std::uint16_t port() const { return m_server.port(); }
    std::thread& thread() { return m_thread; }

private:
    static zorv::wire::ServerOptions options(std::chrono::milliseconds pushInterval, bool stopOnSignals)
    {
        zorv::wire::ServerOptions o;
        o.port = 0;
        o.pushInterval = pushInterval;
        o.stopOnSignals = stopOnSignals;
        return o;
    }

    zorv::wire::TcpServer m_server;
    std::thread m_thread;
};

}  // namespace wiretest
