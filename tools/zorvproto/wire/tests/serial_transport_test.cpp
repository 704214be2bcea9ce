// The serial transport against the master side of a pseudo-terminal.
#include "WireTestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

using namespace wiretest;
using zorv::wire::makeSerialTransport;

namespace
{

class SerialTransport : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_master = posix_openpt(O_RDWR | O_NOCTTY);
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0 || ptsname(m_master) == nullptr)
        {
            GTEST_SKIP() << "pseudo-terminals are not available here";
        }
        m_slave = ptsname(m_master);
    }

    void TearDown() override { closeMaster(); }

    void closeMaster()
    {
        if (m_master >= 0)
        {
            ::close(m_master);
            m_master = -1;
        }
    }

    void masterWrite(const std::string& bytes) const
    {
        ASSERT_EQ(::write(m_master, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    // What the master side reads within two seconds, up to want bytes.
    std::string masterRead(size_t want) const
    {
        std::string got;
        const auto deadline = std::chrono::steady_clock::now() + 2s;
        while (got.size() < want && std::chrono::steady_clock::now() < deadline)
        {
            pollfd p{m_master, POLLIN, 0};
            if (::poll(&p, 1, 100) == 1)
            {
                char buf[256];
                const ssize_t n = ::read(m_master, buf, sizeof buf);
                if (n <= 0)
                {
                    break;
                }
                got.append(buf, static_cast<size_t>(n));
            }
        }
        return got;
    }

    int m_master = -1;
    std::string m_slave;
};

// Bytes a terminal in cooked mode would eat or change: CR, LF, Ctrl-C,
// XON, XOFF, DEL and a high byte. The transport must pass them untouched.
const std::string kAwkward("\x55\xAA\x0D\x0A\x03\x11\x13\x7F\xFF\x00\x04", 11);

}  // namespace

TEST_F(SerialTransport, CarriesEveryByteValueBothWays)
{
    auto t = makeSerialTransport(m_slave, 115200);
    t->connect(1s);
    t->send(kAwkward, 2s);
    EXPECT_EQ(masterRead(kAwkward.size()), kAwkward);
    masterWrite(kAwkward);
    EXPECT_EQ(receiveExactly(*t, kAwkward.size()), kAwkward);
    EXPECT_EQ(t->peerName(), m_slave);
}

TEST_F(SerialTransport, ReceiveDeadlinePassesWhenTheLineIsSilent)
{
    auto t = makeSerialTransport(m_slave, 9600);
    t->connect(1s);
    EXPECT_EQ(wireFailure([&] { t->receive(100ms); }), "Timeout: no data from " + m_slave + " within 100 ms");
}

TEST_F(SerialTransport, OtherEndGoingAwayIsClosed)
{
    auto t = makeSerialTransport(m_slave, 9600);
    t->connect(1s);
    closeMaster();
    EXPECT_EQ(wireFailure([&] { t->receive(1s); }), "Closed: serial device " + m_slave + " went away");
}

TEST(SerialDevice, MissingDeviceIsNamed)
{
    auto t = makeSerialTransport("/dev/zorv-no-such-tty", 9600);
    EXPECT_EQ(wireFailure([&] { t->connect(1s); }), "NoDevice: serial device /dev/zorv-no-such-tty does not exist");
}
