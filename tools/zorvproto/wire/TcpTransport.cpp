// The TCP client side of a Transport.
#include "AsioWait.h"
#include "Transport.h"

namespace zorv::wire
{
namespace
{

using asio::ip::tcp;
using detail::Outcome;

class TcpTransport final : public Transport
{
public:
    TcpTransport(std::string host, std::uint16_t port)
        : m_host(std::move(host)), m_port(port), m_resolver(m_io), m_socket(m_io)
    {
    }

    ~TcpTransport() override { close(); }

    void connect(Timeout timeout) override
    {
        close();
        bool resolving = true;
        Outcome done;  // a failed resolution or the connection's outcome
        // Resolving and connecting share the one deadline.
        m_resolver.async_resolve(m_host, std::to_string(m_port),
                                 [&](const asio::error_code& ec, const tcp::resolver::results_type& results) {
                                     if (ec)
                                     {
                                         done = {true, ec, 0};
                                         return;
                                     }
                                     resolving = false;
                                     asio::async_connect(m_socket, results,
                                                         [&](const asio::error_code& cec, const tcp::endpoint&) {
                                                             done = {true, cec, 0};
                                                         });
                                 });
        detail::runUntil(m_io, done, timeout, [this] {
            m_resolver.cancel();
            asio::error_code ignored;
            m_socket.close(ignored);
        });
        if (detail::timedOut(done))
        {
            close();
            throw WireError(WireErrc::Unreachable,
                            (resolving ? "cannot resolve host " + m_host : "cannot reach " + peerName()) +
                                ": no answer within " + detail::ms(timeout));
        }
        if (resolving)
        {
            throw WireError(WireErrc::Unreachable, "cannot resolve host " + m_host + ": " + done.ec.message());
        }
        const Outcome& connected = done;
        if (connected.ec == asio::error::connection_refused)
        {
            close();
            throw WireError(WireErrc::Refused, "connection to " + peerName() + " refused");
        }
        if (connected.ec)
        {
            close();
            throw WireError(WireErrc::Unreachable, "cannot reach " + peerName() + ": " + connected.ec.message());
        }
        asio::error_code ignored;
        m_socket.set_option(tcp::no_delay(true), ignored);
    }

    void send(const std::string& bytes, Timeout timeout) override
    {
        requireOpen();
        Outcome sent;
        asio::async_write(m_socket, asio::buffer(bytes), detail::storeIn(sent));
        detail::runUntil(m_io, sent, timeout, [this] { m_socket.cancel(); });
        if (detail::timedOut(sent))
        {
            throw WireError(WireErrc::Timeout, peerName() + " took no data within " + detail::ms(timeout));
        }
        fail(sent.ec);
    }

    std::string receive(Timeout timeout) override
    {
        requireOpen();
        std::string bytes(kReceiveChunk, '\0');
        Outcome received;
        m_socket.async_read_some(asio::buffer(&bytes[0], bytes.size()), detail::storeIn(received));
        detail::runUntil(m_io, received, timeout, [this] { m_socket.cancel(); });
        if (detail::timedOut(received))
        {
            throw WireError(WireErrc::Timeout, "no data from " + peerName() + " within " + detail::ms(timeout));
        }
        fail(received.ec);
        bytes.resize(received.bytes);
        return bytes;
    }

    void close() noexcept override
    {
        asio::error_code ignored;
        m_socket.shutdown(tcp::socket::shutdown_both, ignored);
        m_socket.close(ignored);
    }

    std::string peerName() const override
    {
        // An IPv6 address is bracketed so that the port stays readable.
        const bool v6 = m_host.find(':') != std::string::npos;
        return (v6 ? "[" + m_host + "]" : m_host) + ":" + std::to_string(m_port);
    }

private:
    static constexpr std::size_t kReceiveChunk = 64 * 1024;

    void requireOpen() const
    {
        if (!m_socket.is_open())
        {
            throw WireError(WireErrc::Failed, "not connected to " + peerName());
        }
    }

    void fail(const asio::error_code& ec) const
    {
        if (!ec)
        {
            return;
        }
        if (ec == asio::error::connection_reset)
        {
            throw WireError(WireErrc::Closed, peerName() + " reset the connection");
        }
        if (detail::peerGone(ec))
        {
            throw WireError(WireErrc::Closed, peerName() + " closed the connection");
        }
        throw WireError(WireErrc::Failed, peerName() + ": " + ec.message());
    }

    std::string m_host;
    std::uint16_t m_port;
    asio::io_context m_io;
    tcp::resolver m_resolver;
    tcp::socket m_socket;
};

}  // namespace

std::unique_ptr<Transport> makeTcpTransport(const std::string& host, std::uint16_t port)
{
    return std::make_unique<TcpTransport>(host, port);
}

HostPort parseHostPort(const std::string& text, std::uint16_t defaultPort)
{
    const auto bad = [&text](const char* why) {
        return std::invalid_argument("bad address \"" + text + "\": " + why + " (expected HOST:PORT)");
    };
    HostPort result{text, defaultPort};
    std::string port;
    if (!text.empty() && text.front() == '[')
    {
        const size_t close = text.find(']');
        if (close == std::string::npos)
        {
            throw bad("unclosed [");
        }
        result.host = text.substr(1, close - 1);
        if (close + 1 < text.size())
        {
            if (text[close + 1] != ':')
            {
                throw bad("text after ]");
            }
            port = text.substr(close + 2);
            if (port.empty())
            {
                throw bad("empty port");
            }
        }
    }
    else if (const size_t colon = text.rfind(':'); colon != std::string::npos)
    {
        if (text.find(':') != colon)
        {
            throw bad("an IPv6 address needs brackets");
        }
        result.host = text.substr(0, colon);
        port = text.substr(colon + 1);
        if (port.empty())
        {
            throw bad("empty port");
        }
    }
    if (result.host.empty())
    {
        throw bad("empty host");
    }
    if (!port.empty())
    {
        if (port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos || std::stoul(port) > 65535)
        {
            throw bad("the port is not a number from 0 to 65535");
        }
        result.port = static_cast<std::uint16_t>(std::stoul(port));
    }
    return result;
}

}  // namespace zorv::wire
