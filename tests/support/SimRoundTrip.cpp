#include "support/SimRoundTrip.h"

#include <list>
#include <mutex>
#include <utility>

std::size_t ServerStub::buffered()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_buffer.size();
}

const char* endingName(Ending ending)
{
    switch (ending)
    {
    case Ending::Success:
        return "success";
    case Ending::Failed:
        return "failed";
    case Ending::Refused:
        return "refused";
    case Ending::TimedOut:
        return "timed out";
    case Ending::Rejected:
        return "rejected";
    }
    return "?";
}

SimServer::SimServer(ServerStub& stub, zorv::DeviceSimulator& device, std::string key)
    : m_stub(stub), m_device(device), m_key(std::move(key))
{
}

RoundTripOutcome SimServer::run(ClientRequest request)
{
    RoundTripOutcome outcome;
    std::list<ST_MSGToHardDriver> msgs;
    if (m_stub.analyze_ClientData(request.maxLen, m_key, request.type, &request.record, msgs, request.path,
                                  request.selfIncreasing) != emProtoSuccess)
    {
        return outcome;
    }
    outcome.ending = Ending::Success;
    for (ST_MSGToHardDriver& msg : msgs)
    {
        MessageExchange& exchange = outcome.messages.emplace_back();
        std::string reply;
        for (const std::string& piece : m_device.pieces(*msg.frame))
        {
            reply += m_device.receive(piece);
        }
        exchange.faults = m_device.lastFaults();
        exchange.delivered = reply.size();
        for (std::string& piece : m_device.pieces(reply))
        {
            m_onWire += piece.size();
            m_wire.push_back(std::move(piece));
        }
        Ending ending = Ending::TimedOut;
        while (!m_wire.empty() && ending == Ending::TimedOut)
        {
            const std::string piece = std::move(m_wire.front());
            m_wire.pop_front();
            m_onWire -= piece.size();
            exchange.lastPiece = piece.size();
            const int result =
                exchange.results.emplace_back(m_stub.analyze_DeviceData(m_key, request.type, piece, msg));
            if (result == emProtoSuccess)
            {
                ending = m_stub.getReplyPackage(m_key)->ack == 0 ? Ending::Success : Ending::Refused;
            }
            else if (result == emProtoFailed)
            {
                ending = Ending::Failed;
            }
        }
        if (ending == Ending::Success && onAnswered)
        {
            onAnswered(*msg.frame);
        }
        // Sent frames are not needed again; a big transfer keeps only those still to go.
        msg.frame.reset();
        if (ending != Ending::Success)
        {
            outcome.ending = ending;
            break;
        }
    }
    outcome.buffered = m_stub.buffered();
    outcome.onWire = m_onWire;
    return outcome;
}

void SimServer::recover()
{
    m_wire.clear();
    m_onWire = 0;
    m_stub.clearRecvDeviceData();
}

INTER_ST::ThirdGenerationCommRequest_Data makeRequest(bool variant, bool write, unsigned int addr,
                                                      const std::string& payload, unsigned long long len)
{
    const std::string data = (variant ? std::string(18, '\0') : std::string()) + payload;
    INTER_ST::ThirdGenerationCommRequest_Data r;
    r.firstAddr = 0x11;
    r.secondAddr = 0x22;
    r.deviceType = 0x33;
    r.readWriteCode = write ? 1 : 0;
    r.registerAddr = {static_cast<unsigned char>(addr), static_cast<unsigned char>(addr >> 8),
                      static_cast<unsigned char>(addr >> 16), static_cast<unsigned char>(addr >> 24)};
    r.validLength = len + (variant ? 18 : 0);
    r.data.assign(data.begin(), data.end());
    return r;
}
