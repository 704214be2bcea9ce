// The device stand-in's TCP server: one io_context on the caller's thread,
// one session per client with its own handler, read loop, write queue and
// push timer.
#include "TcpServer.h"

#include "WireError.h"

#include <asio.hpp>

#include <csignal>
#include <deque>
#include <set>

namespace zorv::wire
{

using asio::ip::tcp;

class TcpServer::Impl
{
public:
    class Session;

    Impl(ServerOptions options, HandlerFactory factory)
        : m_options(std::move(options)), m_factory(std::move(factory)), m_acceptor(m_io), m_signals(m_io)
    {
        const std::string where = m_options.host + ":" + std::to_string(m_options.port);
        asio::error_code ec;
        const asio::ip::address address = asio::ip::make_address(m_options.host, ec);
        if (ec)
        {
            throw WireError(WireErrc::Failed, "cannot listen on " + where + ": not an IP address");
        }
        const tcp::endpoint endpoint(address, m_options.port);
        m_acceptor.open(endpoint.protocol(), ec);
        if (!ec)
        {
            m_acceptor.set_option(tcp::acceptor::reuse_address(true), ec);
        }
        if (!ec)
        {
            m_acceptor.bind(endpoint, ec);
        }
        if (!ec)
        {
            m_acceptor.listen(asio::socket_base::max_listen_connections, ec);
        }
        if (ec)
        {
            throw WireError(WireErrc::Failed, "cannot listen on " + where + ": " + ec.message());
        }
        // The handlers go in now, so that a signal that arrives before run()
        // stops it rather than the process.
        if (m_options.stopOnSignals)
        {
            m_signals.add(SIGINT);
            m_signals.add(SIGTERM);
        }
    }

    std::uint16_t port() const { return m_acceptor.local_endpoint().port(); }

    void run()
    {
        if (m_options.stopOnSignals)
        {
            m_signals.async_wait([this](const asio::error_code& ec, int signal) {
                if (!ec)
                {
                    log(std::string("stopping on ") + (signal == SIGINT ? "SIGINT" : "SIGTERM"));
                    shutdown();
                }
            });
        }
        log("listening on " + m_options.host + ":" + std::to_string(port()));
        accept();
        m_io.run();
    }

    void stop()
    {
        asio::post(m_io, [this] { shutdown(); });
    }

    void log(const std::string& line) const
    {
        if (m_options.log)
        {
            m_options.log(line);
        }
    }

    void forget(const std::shared_ptr<Session>& session) { m_sessions.erase(session); }

    asio::io_context& io() { return m_io; }
    std::chrono::milliseconds pushInterval() const { return m_options.pushInterval; }

private:
    void accept();
    void shutdown();

    ServerOptions m_options;
    HandlerFactory m_factory;
    asio::io_context m_io;
    tcp::acceptor m_acceptor;
    asio::signal_set m_signals;
    std::set<std::shared_ptr<Session>> m_sessions;
    unsigned int m_nextId = 1;
    bool m_stopping = false;
};

class TcpServer::Impl::Session : public std::enable_shared_from_this<Session>
{
public:
    Session(Impl& server, tcp::socket socket, ClientInfo client)
        : m_server(server), m_socket(std::move(socket)), m_client(std::move(client)), m_timer(server.io())
    {
    }

    void start(std::unique_ptr<ConnectionHandler> handler)
    {
        m_handler = std::move(handler);
        read();
        armTimer();
    }

    // Ends the connection now, whatever is still queued.
    void close(const std::string& why)
    {
        if (!m_socket.is_open())
        {
            return;
        }
        asio::error_code ignored;
        m_timer.cancel();
        m_socket.shutdown(tcp::socket::shutdown_both, ignored);
        m_socket.close(ignored);
        m_server.log(name() + " " + why);
        // The handler goes with the connection: whatever it holds for the
        // client (a recording, say) is finished now.
        m_handler.reset();
        m_server.forget(shared_from_this());
    }

private:
    std::string name() const { return "client " + std::to_string(m_client.id) + " (" + endpointText() + ")"; }
    std::string endpointText() const { return m_client.address + ":" + std::to_string(m_client.port); }

    void read()
    {
        m_socket.async_read_some(asio::buffer(m_buffer),
                                 [self = shared_from_this()](const asio::error_code& ec, std::size_t n) {
                                     self->onRead(ec, n);
                                 });
    }

    void onRead(const asio::error_code& ec, std::size_t n)
    {
        if (ec)
        {
            close(ec == asio::error::eof ? "disconnected" : "lost: " + ec.message());
            return;
        }
        if (handle([&] { return m_handler->onReceive(std::string(m_buffer.data(), n)); }))
        {
            read();
        }
    }

    void armTimer()
    {
        if (m_server.pushInterval().count() <= 0)
        {
            return;
        }
        m_timer.expires_after(m_server.pushInterval());
        m_timer.async_wait([self = shared_from_this()](const asio::error_code& ec) {
            if (!ec && self->m_socket.is_open() && self->handle([&] { return self->m_handler->onPushTimer(); }))
            {
                self->armTimer();
            }
        });
    }

    // Runs the handler and queues what it returns; false when the connection
    // is ending. A handler that throws ends its connection, not the server.
    template <class Call>
    bool handle(Call call)
    {
        if (!m_handler || m_closeAfterWrite)
        {
            return false;
        }
        HandlerOutput out;
        try
        {
            out = call();
        }
        catch (const std::exception& e)
        {
            close(std::string("dropped: the handler failed: ") + e.what());
            return false;
        }
        m_closeAfterWrite = out.close;
        const bool idle = m_queue.empty();
        if (!out.bytes.empty())
        {
            m_queue.push_back(std::move(out.bytes));
        }
        for (std::string& piece : out.pieces)
        {
            if (!piece.empty())
            {
                m_queue.push_back(std::move(piece));
            }
        }
        if (idle && !m_queue.empty())
        {
            write();
        }
        else if (m_closeAfterWrite && m_queue.empty())
        {
            close("closed by the handler");
        }
        return !m_closeAfterWrite;
    }

    void write()
    {
        asio::async_write(m_socket, asio::buffer(m_queue.front()),
                          [self = shared_from_this()](const asio::error_code& ec, std::size_t) {
                              if (ec)
                              {
                                  self->close("lost: " + ec.message());
                                  return;
                              }
                              self->m_queue.pop_front();
                              if (!self->m_queue.empty())
                              {
                                  self->write();
                              }
                              else if (self->m_closeAfterWrite)
                              {
                                  self->close("closed by the handler");
                              }
                          });
    }

    Impl& m_server;
    tcp::socket m_socket;
    ClientInfo m_client;
    asio::steady_timer m_timer;
    std::unique_ptr<ConnectionHandler> m_handler;
    std::array<char, 64 * 1024> m_buffer{};
    std::deque<std::string> m_queue;
    bool m_closeAfterWrite = false;
};

void TcpServer::Impl::accept()
{
    m_acceptor.async_accept([this](const asio::error_code& ec, tcp::socket socket) {
        if (m_stopping || ec == asio::error::operation_aborted)
        {
            return;
        }
        if (!ec)
        {
            asio::error_code ignored;
            const tcp::endpoint peer = socket.remote_endpoint(ignored);
            socket.set_option(tcp::no_delay(true), ignored);
            ClientInfo client{m_nextId++, peer.address().to_string(), peer.port()};
            auto session = std::make_shared<Session>(*this, std::move(socket), client);
            try
            {
                auto handler = m_factory(client);
                m_sessions.insert(session);
                log("client " + std::to_string(client.id) + " (" + client.address + ":" + std::to_string(client.port) +
                    ") connected");
                session->start(std::move(handler));
            }
            catch (const std::exception& e)
            {
                log("client " + std::to_string(client.id) + " refused: " + e.what());
            }
        }
        else
        {
            log("accept failed: " + ec.message());
        }
        accept();
    });
}

void TcpServer::Impl::shutdown()
{
    if (m_stopping)
    {
        return;
    }
    m_stopping = true;
    asio::error_code ignored;
    m_acceptor.close(ignored);
    m_signals.cancel(ignored);
    // Closing a session removes it from the set: close a copy.
    const auto sessions = m_sessions;
    for (const auto& session : sessions)
    {
        session->close("closed: the server stops");
    }
}

TcpServer::TcpServer(ServerOptions options, HandlerFactory factory)
    : m_impl(std::make_unique<Impl>(std::move(options), std::move(factory)))
{
}

TcpServer::~TcpServer() = default;

std::uint16_t TcpServer::port() const
{
    return m_impl->port();
}

void TcpServer::run()
{
    m_impl->run();
}

void TcpServer::stop()
{
    m_impl->stop();
}

}  // namespace zorv::wire
