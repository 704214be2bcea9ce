// The input side of zorvproto decode: hex text, the hex runs of a log that
// the stand-in logger wrote, and cutting a stream into frames. Every expected
// frame below was worked out by hand from the frame table.
#include "FrameCutter.h"
#include "HexInput.h"
#include "log/ZorvLogControl.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{

using zorvproto::BadInput;
using zorvproto::cutFrames;
using zorvproto::parseHex;
using zorvproto::Piece;
using zorvproto::PieceKind;
using zorvproto::Variant;

std::string bytes(std::initializer_list<int> values)
{
    std::string out;
    for (const int v : values)
        out += static_cast<char>(v);
    return out;
}

TEST(ParseHex, SeparatorsPrefixesAndCommentsAreTolerated)
{
    const std::string expected = bytes({0x55, 0xAA, 0x01, 0xFE});
    for (const char* text : {"55aa01fe", "55 AA 01 Fe", "55:aa:01:fe", "0x55 0xAA 0x01 0xfe", "0x55aa, 0x01fe",
                             "55aa # head\n\t01fe\r\n", "# nothing but\n55aa01fe"})
    {
        SCOPED_TRACE(text);
        EXPECT_EQ(expected, parseHex(text));
    }
    EXPECT_EQ("", parseHex(" \n# empty\n"));
}

TEST(ParseHex, TheFirstBadCharacterIsNamedWithItsPosition)
{
    const struct
    {
        const char* text;
        size_t line;
        size_t column;
        const char* message;
    } cases[] = {
        {"55 aa zz", 1, 7, "line 1, column 7: 'z' is not a hex digit"},
        {"55aa\n 0g", 2, 3, "line 2, column 3: 'g' is not a hex digit"},
        {"55a", 1, 1, "line 1, column 1: odd number of hex digits (3) in a run"},
        {"55 0x", 1, 6, "line 1, column 6: \"0x\" with no hex digits after it"},
        {"0x 55", 1, 3, "line 1, column 3: byte 0x20 is not a hex digit"},
        {"55-aa", 1, 3, "line 1, column 3: '-' is not a hex digit"},
        {"55\x01", 1, 3, "line 1, column 3: byte 0x01 is not a hex digit"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.text);
        try
        {
            parseHex(c.text);
            ADD_FAILURE() << "no error";
        }
        catch (const BadInput& e)
        {
            EXPECT_EQ(c.message, std::string(e.what()));
            EXPECT_EQ(c.line, e.line());
            EXPECT_EQ(c.column, e.column());
        }
    }
}

// The log is written by the stand-in logger itself, so that a change of its
// line format shows here.
TEST(HexRunsFromLog, TakesTheByteRunsTheLoggerWroteAndNothingElse)
{
    const std::string path = testing::TempDir() + "zorvproto_decode_test.log";
    std::remove(path.c_str());
    const em_LOG_LEVEL before = zorvlog::level();
    zorvlog::setLevel(ZORV_LOG_TRACE);
    ASSERT_TRUE(zorvlog::setOutputFile(path));
    ZorvSpdLog* log = ZorvSpdLog::getLoger();
    const char* sig = "bool __cdecl ProtoBase::reviseOk(const class std::basic_string<char,struct "
                      "std::char_traits<char>,class std::allocator<char> > &,int,unsigned __int64)";
    log->addLogtoZorvSpdLog(ZORV_LOG_INFO, sig, 12, "cacl checkout[%d], from checkout[%d].", 21845, 21845);
    log->add16StrLogtoList(ZORV_LOG_TRACE, sig, 34, bytes({0xAA, 0x55, 0x00, 0x0A}));
    log->addLogtoZorvSpdLog(ZORV_LOG_WARN, "void __cdecl f(int)", 56, "AA 55 00");  // text that looks like a run
    log->add16StrLogtoList(ZORV_LOG_DEBUG, "void __cdecl f(int)", 7, bytes({0x00}));
    log->add16StrLogtoList(ZORV_LOG_DEBUG, "g", 8, "");
    zorvlog::setOutputFile("");
    zorvlog::setLevel(before);

    std::ifstream file(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    const std::vector<zorvproto::LogRun> runs = zorvproto::hexRunsFromLog(text);
    // A message that is itself made of hex pairs cannot be told from a run:
    // line 3 counts too.
    ASSERT_EQ(3u, runs.size()) << text;
    EXPECT_EQ(2u, runs[0].line);
    EXPECT_EQ(bytes({0xAA, 0x55, 0x00, 0x0A}), runs[0].bytes);
    EXPECT_EQ(3u, runs[1].line);
    EXPECT_EQ(bytes({0xAA, 0x55, 0x00}), runs[1].bytes);
    EXPECT_EQ(4u, runs[2].line);
    EXPECT_EQ(bytes({0x00}), runs[2].bytes);
    std::remove(path.c_str());
}

struct Expected
{
    PieceKind kind;
    size_t offset;
    size_t length;
    bool checksumOk;
    bool subHeader;
};

void expectPieces(const std::string& input, Variant variant, const std::vector<Expected>& expected)
{
    const std::vector<Piece> pieces = cutFrames(input, variant);
    ASSERT_EQ(expected.size(), pieces.size());
    size_t covered = 0;
    for (size_t i = 0; i < pieces.size(); ++i)
    {
        SCOPED_TRACE("piece " + std::to_string(i));
        EXPECT_EQ(zorvproto::kindName(expected[i].kind), std::string(zorvproto::kindName(pieces[i].kind)));
        EXPECT_EQ(expected[i].offset, pieces[i].offset);
        EXPECT_EQ(expected[i].length, pieces[i].bytes.size());
        EXPECT_EQ(expected[i].checksumOk, pieces[i].checksumOk);
        EXPECT_EQ(expected[i].subHeader, pieces[i].subHeader);
        covered += pieces[i].bytes.size();
    }
    EXPECT_EQ(input.size(), covered);
}

// A standard read request: 20 bytes although it asks for 256 (0x5555 + 0x22).
const std::string kRead = parseHex("55aa 0001 000000000000 0000 00200000 0001 7755");
// A write reply, no data (0x5555 + 0x22).
const std::string kReply = parseHex("aa55 0001 000000000000 0100 00200000 0000 7755");
// A pushed report: packet type 0x32, two data bytes (0x5555 + 0x161).
const std::string kPush = parseHex("55aa 0007 0a0b0c0d0e0f 0032 01020304 0200 6869 b656");
// A variant write: sub-header length 3 (one extension byte, two payload bytes),
// header length 18 + 1 + 3 = 22, 38 + 3 = 41 bytes (0x5555 + 0x13e).
const std::string kVariantWrite = parseHex("55aa 0001 000000000000 0100 00000000 1600"
                                           "0300 00 01000000 00000000 000000000000 01"
                                           "ee 1122 9356");

TEST(CutFrames, ACapturedStreamIsCutAtItsFrames)
{
    const std::string garbage = bytes({0x01, 0x02, 0x03});
    std::string badReply = kReply;
    badReply[19] = 0x56;
    expectPieces(garbage + kReply + kPush + kRead + badReply + garbage, Variant::Auto,
                 {{PieceKind::Unframed, 0, 3, false, false},
                  {PieceKind::Reply, 3, 20, true, false},
                  {PieceKind::Push, 23, 22, true, false},
                  {PieceKind::Request, 45, 20, true, false},
                  {PieceKind::Reply, 65, 20, false, false},
                  {PieceKind::Unframed, 85, 3, false, false}});
}

TEST(CutFrames, ACutShortFrameGivesWayToTheGoodFrameInsideIt)
{
    // The reply's first 15 bytes, then a whole reply, then a head alone.
    expectPieces(kReply.substr(0, 15) + kReply + kReply.substr(0, 2), Variant::Auto,
                 {{PieceKind::Truncated, 0, 15, false, false},
                  {PieceKind::Reply, 15, 20, true, false},
                  {PieceKind::Truncated, 35, 2, false, false}});
}

TEST(CutFrames, TheVariantIsToldByItsChecksumOrByTheFlag)
{
    // By the standard reading the write would be 42 bytes: its checksum
    // fails there, the variant's 41 hold.
    expectPieces(kVariantWrite + kRead, Variant::Auto,
                 {{PieceKind::Request, 0, 41, true, true}, {PieceKind::Request, 41, 20, true, false}});
    // Forced standard, the write would swallow the read's first byte: it is
    // shown cut short where the good read begins.
    expectPieces(kVariantWrite + kRead, Variant::Standard,
                 {{PieceKind::Truncated, 0, 41, false, false}, {PieceKind::Request, 41, 20, true, false}});
}

TEST(CutFrames, NoInputIsTooShortOrTooWild)
{
    EXPECT_TRUE(cutFrames("", Variant::Auto).empty());
    expectPieces(bytes({0x55}), Variant::Auto, {{PieceKind::Unframed, 0, 1, false, false}});
    // A head whose length field runs far past the input.
    expectPieces(parseHex("aa55 0000 000000000000 0000 00000000 ffff"), Variant::Always,
                 {{PieceKind::Truncated, 0, 18, false, false}});
}

}  // namespace
