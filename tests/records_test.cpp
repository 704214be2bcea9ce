// The records and enumerations shared with the server: widths, member order,
// the reply record's defaults and its member-wise copy and move.
#include "protostub/ProtoRecords.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <tuple>
#include <type_traits>
#include <utility>

namespace
{

using Record = INTER_ST::ThirdGenerationCommResponse_Data;
using Request = INTER_ST::ThirdGenerationCommRequest_Data;
using Bytes = std::vector<unsigned char>;
using UC = unsigned char;

// Member types that the server's copies of these definitions must agree with.
static_assert(std::is_same<decltype(Record::head), UC[2]>::value, "frame head");
static_assert(std::is_same<decltype(Record::readWriteCode), UC>::value, "read/write code is one byte");
static_assert(std::is_same<decltype(Record::validDataLength), unsigned long long>::value, "64-bit length");
static_assert(std::is_same<decltype(Request::validLength), unsigned long long>::value, "64-bit length");
static_assert(std::is_same<decltype(Request::registerAddr), Bytes>::value, "address bytes");
static_assert(std::is_same<decltype(ST_RegisterAddrAndValid::lenHead), int>::value, "head length");
static_assert(std::is_same<decltype(ST_RegisterAddrAndValid::validLen), std::uint32_t>::value, "valid length");
static_assert(std::is_same<decltype(ST_DeviceAutoReportResponseInfo::ack), int>::value, "ack as int");
static_assert(std::has_virtual_destructor<Record>::value, "the reply record is destroyed through its own vtable");

// True if the members lie inside obj in the given order.
template <class T>
bool inDeclarationOrder(const T& obj, std::initializer_list<const void*> members)
{
    const auto first = reinterpret_cast<std::uintptr_t>(&obj);
    std::uintptr_t previous = first;
    bool ordered = true;
    for (const void* member : members)
    {
        const auto at = reinterpret_cast<std::uintptr_t>(member);
        ordered = ordered && at >= previous && at < first + sizeof(T);
        previous = at + 1;
    }
    return ordered;
}

auto fields(const Record& r)
{
    return std::make_tuple(r.head[0], r.head[1], r.ack, r.label, r.firstAddr, r.secondAddr, r.deviceType,
                           r.scanBoardAddr, r.frameByte7, r.readWriteCode, r.registerAddr, r.validDataLength, r.data,
                           r.checkout, r.packetType);
}

Record filledRecord()
{
    Record r;
    r.head[0] = 0xAA;
    r.head[1] = 0x55;
    r.ack = 3;
    r.label = 4;
    r.firstAddr = 5;
    r.secondAddr = 6;
    r.deviceType = 7;
    r.scanBoardAddr = {8, 9};
    r.frameByte7 = 10;
    r.readWriteCode = 1;
    r.registerAddr = {11, 12, 13, 14};
    r.validDataLength = 0x1122334455ULL;
    r.data = {15, 16, 17};
    r.checkout = {18, 19};
    r.packetType = 20;
    return r;
}

TEST(RecordsTest, EnumerationsHaveTheirInterfaceWidths)
{
    EXPECT_EQ(4u, sizeof(em_ProtoAnalyze));
    EXPECT_EQ(4u, sizeof(em_RequestType));
    EXPECT_EQ(1u, sizeof(em_OperationCodeType));
}

TEST(RecordsTest, MembersAreInInterfaceOrder)
{
    const Record r;
    EXPECT_TRUE(inDeclarationOrder(r, {&r.head, &r.ack, &r.label, &r.firstAddr, &r.secondAddr, &r.deviceType,
                                       &r.scanBoardAddr, &r.frameByte7, &r.readWriteCode, &r.registerAddr,
                                       &r.validDataLength, &r.data, &r.checkout, &r.packetType}));
    const Request q;
    EXPECT_TRUE(inDeclarationOrder(q, {&q.firstAddr, &q.secondAddr, &q.deviceType, &q.scanBoardAddr, &q.frameByte7,
                                       &q.readWriteCode, &q.registerAddr, &q.validLength, &q.data, &q.packetType}));
    const ST_RegisterAddrAndValid p;
    EXPECT_TRUE(
        inDeclarationOrder(p, {&p.nPacketSequeseNum, &p.lenHead, &p.readLen, &p.registerAddr, &p.data, &p.validLen}));
    const ST_MSGToHardDriver m;
    EXPECT_TRUE(inDeclarationOrder(m, {&m.protoKey, &m.matchList, &m.frame}));
    const ST_MSGToHardDriverMatchOne o;
    EXPECT_TRUE(inDeclarationOrder(o, {&o.key, &o.posWanted}));
    const ST_DeviceAutoReportResponseInfo i;
    EXPECT_TRUE(inDeclarationOrder(i, {&i.response, &i.answer, &i.reserved, &i.ack}));
}

TEST(RecordsTest, DefaultReplyRecordIsUnacknowledgedAndEmpty)
{
    EXPECT_EQ(std::make_tuple(UC{0}, UC{0}, UC{2}, UC{0}, UC{0}, UC{0}, UC{0}, Bytes{}, UC{0}, UC{0}, Bytes{}, 0ULL,
                              Bytes{}, Bytes{}, UC{0}),
              fields(Record()));
}

TEST(RecordsTest, CopiesAndMovesCarryEveryMember)
{
    const Record source = filledRecord();
    const auto expected = fields(source);

    Record copy(source);
    EXPECT_EQ(expected, fields(copy));
    copy.data.push_back(99);
    EXPECT_EQ(expected, fields(source)) << "a copy shares no vector with its source";

    Record assigned;
    assigned = source;
    EXPECT_EQ(expected, fields(assigned));
    Record& alias = assigned;
    assigned = alias;
    EXPECT_EQ(expected, fields(assigned)) << "self-assignment changes nothing";
    assigned = std::move(alias);
    EXPECT_EQ(expected, fields(assigned)) << "self-move changes nothing";

    Record temporary = filledRecord();
    Record moved(std::move(temporary));
    EXPECT_EQ(expected, fields(moved));
    Record moveAssigned;
    moveAssigned = filledRecord();
    EXPECT_EQ(expected, fields(moveAssigned));
}

} // namespace
