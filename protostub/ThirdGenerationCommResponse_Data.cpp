#include "ThirdGenerationCommResponse_Data.h"

#include <utility>

namespace INTER_ST
{

// ack starts at 2, not 0: a record that no reply has filled must not read as
// an acknowledged success.
ThirdGenerationCommResponse_Data::ThirdGenerationCommResponse_Data()
    : head{0, 0}, ack(2), label(0), firstAddr(0), secondAddr(0), deviceType(0), frameByte7(0), readWriteCode(0),
      validDataLength(0), packetType(0)
{
}

ThirdGenerationCommResponse_Data::ThirdGenerationCommResponse_Data(const ThirdGenerationCommResponse_Data& other)
    : head{other.head[0], other.head[1]}, ack(other.ack), label(other.label), firstAddr(other.firstAddr),
      secondAddr(other.secondAddr), deviceType(other.deviceType), scanBoardAddr(other.scanBoardAddr),
      frameByte7(other.frameByte7), readWriteCode(other.readWriteCode), registerAddr(other.registerAddr),
      validDataLength(other.validDataLength), data(other.data), checkout(other.checkout), packetType(other.packetType)
{
}

ThirdGenerationCommResponse_Data::ThirdGenerationCommResponse_Data(ThirdGenerationCommResponse_Data&& other) noexcept
    : head{other.head[0], other.head[1]}, ack(other.ack), label(other.label), firstAddr(other.firstAddr),
      secondAddr(other.secondAddr), deviceType(other.deviceType), scanBoardAddr(std::move(other.scanBoardAddr)),
      frameByte7(other.frameByte7), readWriteCode(other.readWriteCode), registerAddr(std::move(other.registerAddr)),
      validDataLength(other.validDataLength), data(std::move(other.data)), checkout(std::move(other.checkout)),
      packetType(other.packetType)
{
}

ThirdGenerationCommResponse_Data& ThirdGenerationCommResponse_Data::operator=(
    const ThirdGenerationCommResponse_Data& other)
{
    if (this != &other)
    {
        head[0] = other.head[0];
        head[1] = other.head[1];
        ack = other.ack;
        label = other.label;
        firstAddr = other.firstAddr;
        secondAddr = other.secondAddr;
        deviceType = other.deviceType;
        scanBoardAddr = other.scanBoardAddr;
        frameByte7 = other.frameByte7;
        readWriteCode = other.readWriteCode;
        registerAddr = other.registerAddr;
        validDataLength = other.validDataLength;
        data = other.data;
        checkout = other.checkout;
        packetType = other.packetType;
    }
    return *this;
}

ThirdGenerationCommResponse_Data& ThirdGenerationCommResponse_Data::operator=(
    ThirdGenerationCommResponse_Data&& other) noexcept
{
    if (this != &other)
    {
        head[0] = other.head[0];
        head[1] = other.head[1];
        ack = other.ack;
        label = other.label;
        firstAddr = other.firstAddr;
        secondAddr = other.secondAddr;
        deviceType = other.deviceType;
        scanBoardAddr = std::move(other.scanBoardAddr);
        frameByte7 = other.frameByte7;
        readWriteCode = other.readWriteCode;
        registerAddr = std::move(other.registerAddr);
        validDataLength = other.validDataLength;
        data = std::move(other.data);
        checkout = std::move(other.checkout);
        packetType = other.packetType;
    }
    return *this;
}

ThirdGenerationCommResponse_Data::~ThirdGenerationCommResponse_Data() = default;

}  // namespace INTER_ST
