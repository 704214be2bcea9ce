#include "WireTestSupport.h"

#include <asio.hpp>

#include <gtest/gtest.h>

using namespace wiretest;
using zorv::wire::HandlerOutput;
using zorv::wire::makeTcpTransport;

namespace
{

// Answers with a fixed script: the n-th piece received gets the n-th output.
class Scripted : public zorv::wire::ConnectionHandler
{
public:
    explicit Scripted(std::vector<HandlerOutput> outputs) : m_outputs(std::move(outputs)) {}
    HandlerOutput onReceive(const std::string&) override
    {
        return m_next < m_outputs.size() ? m_outputs[m_next++] : HandlerOutput{};
    }

private:
    std::vector<HandlerOutput> m_outputs;
    size_t m_next = 0;
};

zorv::wire::HandlerFactory scripted(std::vector<HandlerOutput> outputs)
{
    return [outputs](const zorv::wire::ClientInfo&) { return std::make_unique<Scripted>(outputs); };
}

const std::string kRequest("\x55\xAA\x00\x01\x01\x02\x03\x00\x05\x00\x00\x01\x00\x10\x00\x00\x04\x00\x76\x55", 20);
const std::string kReply("\xAA\x55\x00\x01\x02\x01\x03\x00\x05\x00\x00\x01\x00\x10\x00\x00\x04\x00\xDE\xAD\xBE\xEF"
                         "\xAE\x58",
                         24);

}  // namespace

TEST(TcpTransport, SendsARequestAndReceivesTheReply)
{
    std::string seen;
    ServerThread server([&seen](const zorv::wire::ClientInfo&) {
        struct Device : zorv::wire::ConnectionHandler
        {
            explicit Device(std::string& seen) : seen(seen) {}
            HandlerOutput onReceive(const std::string& bytes) override
            {
                seen += bytes;
                return {seen.size() == kRequest.size() ? kReply : "", false};
            }
            std::string& seen;
        };
        return std::make_unique<Device>(seen);
    });
    auto t = makeTcpTransport("127.0.0.1", server.port());
    t->connect(2s);
    t->send(kRequest, 2s);
    EXPECT_EQ(receiveExactly(*t, kReply.size()), kReply);
    EXPECT_EQ(seen, kRequest);
    EXPECT_EQ(t->peerName(), "127.0.0.1:" + std::to_string(server.port()));
}

TEST(TcpTransport, ReceiveDeadlinePassesWhenTheDeviceIsSilent)
{
    ServerThread server(scripted({}));
    auto t = makeTcpTransport("127.0.0.1", server.port());
    t->connect(2s);
    t->send(kRequest, 2s);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(wireFailure([&] { t->receive(150ms); }),
              "Timeout: no data from 127.0.0.1:" + std::to_string(server.port()) + " within 150 ms");
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 150ms);
    EXPECT_LT(waited, 2s);
    // The connection stays usable after a deadline passed.
    t->send(kRequest, 2s);
}

TEST(TcpTransport, DeviceClosingMidTransferIsReportedAfterTheBytesItSent)
{
    ServerThread server(scripted({{kReply.substr(0, 10), true}}));
    auto t = makeTcpTransport("127.0.0.1", server.port());
    t->connect(2s);
    t->send(kRequest, 2s);
    EXPECT_EQ(receiveExactly(*t, 10), kReply.substr(0, 10));
    EXPECT_EQ(wireFailure([&] { t->receive(2s); }),
              "Closed: 127.0.0.1:" + std::to_string(server.port()) + " closed the connection");
}

TEST(TcpTransport, ConnectingToAPortNobodyListensOnIsRefused)
{
    // A port that was free a moment ago.
    asio::io_context io;
    asio::ip::tcp::acceptor probe(io, asio::ip::tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    const std::uint16_t port = probe.local_endpoint().port();
    probe.close();
    auto t = makeTcpTransport("127.0.0.1", port);
    EXPECT_EQ(wireFailure([&] { t->connect(2s); }),
              "Refused: connection to 127.0.0.1:" + std::to_string(port) + " refused");
    EXPECT_EQ(wireFailure([&] { t->send(kRequest, 1s); }),
              "Failed: not connected to 127.0.0.1:" + std::to_string(port));
}

TEST(HostPort, SplitsAddressesAndRejectsMalformedOnes)
{
    struct Case
    {
        const char* name;
        const char* text;
        const char* host;  // nullptr: rejected with error
        std::uint16_t port;
        const char* error;
    };
    const Case cases[] = {
        {.name = "host and port", .text = "127.0.0.1:5020", .host = "127.0.0.1", .port = 5020, .error = ""},
        {.name = "host alone", .text = "device.local", .host = "device.local", .port = 7, .error = ""},
        {.name = "bracketed IPv6", .text = "[::1]:65535", .host = "::1", .port = 65535, .error = ""},
        {.name = "IPv6 without port", .text = "[::1]", .host = "::1", .port = 7, .error = ""},
        {.name = "empty port", .text = "h:", .host = nullptr, .port = 0, .error = "empty port"},
        {.name = "empty host", .text = ":5020", .host = nullptr, .port = 0, .error = "empty host"},
        {.name = "bare IPv6", .text = "::1:80", .host = nullptr, .port = 0, .error = "an IPv6 address needs brackets"},
        {.name = "port too big",
         .text = "h:65536",
         .host = nullptr,
         .port = 0,
         .error = "the port is not a number from 0 to 65535"},
        {.name = "port not a number", .text = "h:50x", .host = nullptr, .port = 0, .error = "the port is not a number"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        try
        {
            const auto hp = zorv::wire::parseHostPort(c.text, 7);
            ASSERT_NE(c.host, nullptr) << "accepted as " << hp.host << " port " << hp.port;
            EXPECT_EQ(hp.host, c.host);
            EXPECT_EQ(hp.port, c.port);
        }
        catch (const std::invalid_argument& e)
        {
            EXPECT_EQ(c.host, nullptr);
            EXPECT_NE(std::string(e.what()).find(c.error), std::string::npos) << e.what();
        }
    }
}
