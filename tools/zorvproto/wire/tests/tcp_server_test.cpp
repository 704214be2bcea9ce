#include "WireTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <future>
#include <stdexcept>

using namespace wiretest;
using zorv::wire::ClientInfo;
using zorv::wire::HandlerOutput;
using zorv::wire::makeTcpTransport;

namespace
{

// Counts the bytes its client sent and answers with "<client id>:<count>";
// a piece starting with '!' makes it throw; its push timer sends "P".
class Counter : public zorv::wire::ConnectionHandler
{
public:
    explicit Counter(unsigned int id) : m_id(id) {}
    HandlerOutput onReceive(const std::string& bytes) override
    {
        if (bytes.front() == '!')
        {
            throw std::runtime_error("asked to fail");
        }
        m_count += bytes.size();
        return {std::to_string(m_id) + ":" + std::to_string(m_count), false};
    }
    HandlerOutput onPushTimer() override { return {"P", false}; }

private:
    unsigned int m_id;
    size_t m_count = 0;
};

zorv::wire::HandlerFactory counters()
{
    return [](const ClientInfo& client) { return std::make_unique<Counter>(client.id); };
}

std::unique_ptr<zorv::wire::Transport> connectTo(std::uint16_t port)
{
    auto t = makeTcpTransport("127.0.0.1", port);
    t->connect(2s);
    return t;
}

std::string ask(zorv::wire::Transport& t, const std::string& bytes)
{
    t.send(bytes, 2s);
    return t.receive(2s);
}

}  // namespace

TEST(TcpServer, EachClientHasItsOwnHandlerState)
{
    ServerThread server(counters());
    auto a = connectTo(server.port());
    EXPECT_EQ(ask(*a, "abc"), "1:3");
    auto b = connectTo(server.port());
    EXPECT_EQ(ask(*b, "abcde"), "2:5");
    EXPECT_EQ(ask(*a, "x"), "1:4");
    EXPECT_EQ(ask(*b, "y"), "2:6");
}

TEST(TcpServer, AHandlerThatThrowsDropsOnlyItsOwnClient)
{
    ServerThread server(counters());
    auto a = connectTo(server.port());
    auto b = connectTo(server.port());
    a->send("!", 2s);
    EXPECT_EQ(wireFailure([&] { a->receive(2s); }).rfind("Closed: ", 0), 0u);
    EXPECT_EQ(ask(*b, "ok"), "2:2");
}

TEST(TcpServer, PushTimerSendsToEachClientWithoutBeingAsked)
{
    ServerThread server(counters(), 40ms);
    auto a = connectTo(server.port());
    auto b = connectTo(server.port());
    EXPECT_EQ(receiveExactly(*a, 3), "PPP");
    EXPECT_EQ(receiveExactly(*b, 3), "PPP");
}

TEST(TcpServer, BindingAPortInUseNamesTheAddress)
{
    ServerThread first(counters());
    zorv::wire::ServerOptions o;
    o.port = first.port();
    o.stopOnSignals = false;
    EXPECT_EQ(wireFailure([&] { zorv::wire::TcpServer second(o, counters()); }),
              "Failed: cannot listen on 127.0.0.1:" + std::to_string(first.port()) + ": Address already in use");
}

TEST(TcpServer, SigtermStopsRunAndClosesTheClients)
{
    zorv::wire::ServerOptions o;
    o.port = 0;
    zorv::wire::TcpServer server(o, counters());
    auto done = std::async(std::launch::async, [&server] { server.run(); });
    auto a = connectTo(server.port());
    EXPECT_EQ(ask(*a, "abc"), "1:3");
    // The server handles SIGTERM from its construction on.
    std::raise(SIGTERM);
    ASSERT_EQ(done.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(wireFailure([&] { a->receive(2s); }).rfind("Closed: ", 0), 0u);
}
