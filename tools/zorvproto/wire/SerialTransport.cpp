// The serial-line side of a Transport: 8 data bits, no parity, one stop bit,
// no flow control, at the baud rate asked for.
#include "AsioWait.h"
#include "Transport.h"

namespace zorv::wire
{
namespace
{

using detail::Outcome;

class SerialTransport final : public Transport
{
public:
    SerialTransport(std::string device, unsigned int baud) : m_device(std::move(device)), m_baud(baud), m_port(m_io) {}

    ~SerialTransport() override { close(); }

    // Opening a device does not block, so the timeout has nothing to bound.
    void connect(Timeout) override
    {
        close();
        asio::error_code ec;
        m_port.open(m_device, ec);
        if (ec == asio::error::no_such_device || ec == asio::error_code(ENOENT, asio::system_category()))
        {
            throw WireError(WireErrc::NoDevice, "serial device " + m_device + " does not exist");
        }
        if (ec)
        {
            throw WireError(WireErrc::Failed, "cannot open serial device " + m_device + ": " + ec.message());
        }
        using asio::serial_port_base;
        m_port.set_option(serial_port_base::baud_rate(m_baud), ec);
        if (!ec)
        {
            m_port.set_option(serial_port_base::character_size(8), ec);
        }
        if (!ec)
        {
            m_port.set_option(serial_port_base::parity(serial_port_base::parity::none), ec);
        }
        if (!ec)
        {
            m_port.set_option(serial_port_base::stop_bits(serial_port_base::stop_bits::one), ec);
        }
        if (!ec)
        {
            m_port.set_option(serial_port_base::flow_control(serial_port_base::flow_control::none), ec);
        }
        if (ec)
        {
            close();
            throw WireError(WireErrc::Failed,
                            "cannot set " + std::to_string(m_baud) + " baud 8N1 on " + m_device + ": " + ec.message());
        }
    }

    void send(const std::string& bytes, Timeout timeout) override
    {
        requireOpen();
        Outcome sent;
        asio::async_write(m_port, asio::buffer(bytes), detail::storeIn(sent));
        detail::runUntil(m_io, sent, timeout, [this] { cancel(); });
        if (detail::timedOut(sent))
        {
            throw WireError(WireErrc::Timeout, m_device + " took no data within " + detail::ms(timeout));
        }
        fail(sent.ec);
    }

    std::string receive(Timeout timeout) override
    {
        requireOpen();
        std::string bytes(kReceiveChunk, '\0');
        Outcome received;
        m_port.async_read_some(asio::buffer(&bytes[0], bytes.size()), detail::storeIn(received));
        detail::runUntil(m_io, received, timeout, [this] { cancel(); });
        if (detail::timedOut(received))
        {
            throw WireError(WireErrc::Timeout, "no data from " + m_device + " within " + detail::ms(timeout));
        }
        fail(received.ec);
        bytes.resize(received.bytes);
        return bytes;
    }

    void close() noexcept override
    {
        asio::error_code ignored;
        m_port.close(ignored);
    }

    std::string peerName() const override { return m_device; }

private:
    static constexpr std::size_t kReceiveChunk = 4096;

    void cancel()
    {
        asio::error_code ignored;
        m_port.cancel(ignored);
    }

    void requireOpen() const
    {
        if (!m_port.is_open())
        {
            throw WireError(WireErrc::Failed, "serial device " + m_device + " is not open");
        }
    }

    void fail(const asio::error_code& ec) const
    {
        if (!ec)
        {
            return;
        }
        if (detail::peerGone(ec))
        {
            throw WireError(WireErrc::Closed, "serial device " + m_device + " went away");
        }
        throw WireError(WireErrc::Failed, m_device + ": " + ec.message());
    }

    std::string m_device;
    unsigned int m_baud;
    asio::io_context m_io;
    asio::serial_port m_port;
};

}  // namespace

std::unique_ptr<Transport> makeSerialTransport(const std::string& device, unsigned int baud)
{
    return std::make_unique<SerialTransport>(device, baud);
}

}  // namespace zorv::wire
