// File requests of both analyzers: a file read names and restarts the output
// file and asks for the data like a register read; a file write sends a local
// file's bytes, in order, as register write data.
#include "analyzers/ProtoAnalyze3rd.h"
#include "analyzers/ProtoAnalyze3rd_Orvane.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <vector>

namespace
{

namespace fs = std::filesystem;
using Request = INTER_ST::ThirdGenerationCommRequest_Data;

constexpr unsigned int kAddr = 0x12345678;

struct StdAnalyzer : ProtoAnalyze3rd
{
    using ProtoAnalyze3rd::m_nAlreadyRecievedCount;
    using ProtoAnalyze3rd::m_nSendCount;
    using ProtoAnalyze3rd::m_ofsFile;
    using ProtoAnalyze3rd::m_strFilePath;
};

struct VarAnalyzer : ProtoAnalyze3rd_Orvane
{
    using ProtoAnalyze3rd_Orvane::m_nAlreadyRecievedCount;
    using ProtoAnalyze3rd_Orvane::m_nSendCount;
    using ProtoAnalyze3rd_Orvane::m_strFilePath;
};

// One analyzer of either kind behind the client-request entry point.
struct Analyzer
{
    explicit Analyzer(bool variant) : isVariant(variant) {}

    em_ProtoAnalyze run(em_RequestType type, unsigned long long max, Request* req, std::list<ST_MSGToHardDriver>& out,
                        const std::string& path, bool selfInc = true)
    {
        return isVariant ? variant.analyze_ClientData(max, type, req, out, path, selfInc)
                         : standard.analyze_ClientData(max, type, req, out, path, selfInc);
    }
    std::string& filePath() { return isVariant ? variant.m_strFilePath : standard.m_strFilePath; }
    unsigned long long sendCount() const { return isVariant ? variant.m_nSendCount : standard.m_nSendCount; }
    unsigned long long receivedCount() const
    {
        return isVariant ? variant.m_nAlreadyRecievedCount : standard.m_nAlreadyRecievedCount;
    }

    bool isVariant;
    StdAnalyzer standard;
    VarAnalyzer variant;
};

// Sub-header A0 A1 A2, packet sum, sequence number, AB .. B0, extension length 0.
std::vector<unsigned char> subHeader(unsigned int sum, unsigned int seq)
{
    std::vector<unsigned char> d = {0xA0, 0xA1, 0xA2};
    for (unsigned int v : {sum, seq})
    {
        for (int i = 0; i < 4; ++i)
        {
            d.push_back(static_cast<unsigned char>(v >> (8 * i)));
        }
    }
    for (unsigned char b = 0xAB; b <= 0xB0; ++b)
    {
        d.push_back(b);
    }
    d.push_back(0);
    return d;
}

Request makeRequest(bool variant, unsigned char code, unsigned long long len)
{
    Request r;
    r.firstAddr = 0x11;
    r.secondAddr = 0x22;
    r.deviceType = 0x33;
    r.scanBoardAddr = {0x44, 0x55};
    r.frameByte7 = 0x66;
    r.readWriteCode = code;
    r.registerAddr = {0x78, 0x56, 0x34, 0x12};
    r.packetType = 0x77;
    r.validLength = len;
    if (variant)
    {
        r.data = subHeader(2, 1);
    }
    return r;
}

std::string requestFrame(unsigned char code, unsigned char label, unsigned int addr, const std::string& data,
                         int validLength)
{
    FrameFields f;
    f.head0 = 0x55;
    f.head1 = 0xAA;
    f.label = label;
    f.firstAddr = 0x11;
    f.secondAddr = 0x22;
    f.deviceType = 0x33;
    f.byte7 = 0x66;
    f.scan0 = 0x44;
    f.scan1 = 0x55;
    f.readWriteCode = code;
    f.packetType = 0x77;
    f.registerAddr = addr;
    f.data = data;
    f.validLength = validLength;
    return makeFrame(f);
}

void writeFile(const fs::path& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string readFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> hexFrames(const std::list<ST_MSGToHardDriver>& out)
{
    std::vector<std::string> hex;
    for (const ST_MSGToHardDriver& m : out)
    {
        hex.push_back(m.frame ? toHex(*m.frame) : "null");
    }
    return hex;
}

std::vector<std::string> hexAll(const std::vector<std::string>& bytes)
{
    std::vector<std::string> hex;
    for (const std::string& b : bytes)
    {
        hex.push_back(toHex(b));
    }
    return hex;
}

class FileRequestsTest : public LogCaptureTest
{
protected:
    void SetUp() override
    {
        LogCaptureTest::SetUp();
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_dir = fs::path(::testing::TempDir()) / (std::string("zorv_b2_") + info->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::remove_all(m_dir, ignored);
        LogCaptureTest::TearDown();
    }
    void expectLogged(em_LOG_LEVEL level, const std::vector<std::string>& texts) const
    {
        for (const std::string& t : texts)
        {
            EXPECT_TRUE(logged(level, t)) << "missing line: " << t;
        }
    }

    fs::path m_dir;
};

TEST_F(FileRequestsTest, FileReadDeletesTheOldFileAndAsksLikeARegisterRead)
{
    struct Case
    {
        const char* name;
        bool variant;
        std::vector<std::string> frames;
        std::vector<std::string> lines;
        unsigned long long sendCount;
        unsigned long long receivedCount;
    };
    const Case cases[] = {
        {"standard: 600 by 256",
         false,
         {requestFrame(0, 1, kAddr, "", 256), requestFrame(0, 2, kAddr + 256, "", 256),
          requestFrame(0, 3, kAddr + 512, "", 88)},
         {"register address[0x12345678], valid length[600], size package[3].", "len:256,register address[0x12345678].",
          "len:256,register address[0x12345778].", "len:88,register address[0x12345878]."},
         3,
         0},
        {"variant: one packet behind the sub-header",
         true,
         {requestFrame(0, 1, kAddr, hexBytes("a0 a1 a2 02 00 00 00 01 00 00 00 ab ac ad ae af b0 00"), 600)},
         {"register address[0x12345678], valid length[600], size package[1].",
          "len:582,register address[0x12345678]."},
         2,
         1},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        const fs::path path = m_dir / "read.bin";
        writeFile(path, "old contents");
        Analyzer a(c.variant);
        Request req = makeRequest(c.variant, 0, 600);
        std::list<ST_MSGToHardDriver> out;
        ASSERT_EQ(emProtoSuccess, a.run(emRequestReadFile, 256, &req, out, path.string()));
        EXPECT_FALSE(fs::exists(path));
        EXPECT_EQ(path.string(), a.filePath());
        EXPECT_EQ(hexAll(c.frames), hexFrames(out));
        expectLogged(ZORV_LOG_TRACE, c.lines);
        EXPECT_EQ(0u, count("RequestReadFile delete file fail"));
        EXPECT_EQ(c.sendCount, a.sendCount());
        EXPECT_EQ(c.receivedCount, a.receivedCount());
    }
}

TEST_F(FileRequestsTest, FileReadThatCannotDeleteThePathSaysSoAndGoesOn)
{
    // A directory that holds a file cannot be removed.
    const fs::path path = m_dir / "busy";
    fs::create_directories(path);
    writeFile(path / "inside", "x");
    for (bool variant : {false, true})
    {
        SCOPED_TRACE(variant ? "variant" : "standard");
        clearLog();
        Analyzer a(variant);
        Request req = makeRequest(variant, 0, 100);
        std::list<ST_MSGToHardDriver> out;
        EXPECT_EQ(emProtoSuccess, a.run(emRequestReadFile, 256, &req, out, path.string()));
        EXPECT_TRUE(logged(ZORV_LOG_WARN, "RequestReadFile delete file fail"));
        EXPECT_EQ(1u, out.size());
        EXPECT_TRUE(fs::exists(path / "inside"));
    }
}

TEST_F(FileRequestsTest, RejectedFileReadKeepsTheFileAndThePreviousPath)
{
    struct Case
    {
        const char* name;
        bool variant;
        bool nullRequest;
        unsigned long long len;
        size_t addrSize;
        unsigned long long max;
        em_ProtoAnalyze code;
        std::string line;
    };
    const Case cases[] = {
        {"standard, length 0", false, false, 0, 4, 256, emProtoBadLength, "sizeValidLen == 0,operation result[16]"},
        {"standard, address of 3 bytes", false, false, 100, 3, 256, emProtoBadRegisterAddr, "operation result[13]"},
        {"standard, max 0", false, false, 100, 4, 0, emProtoZeroMaxRecvLen, "nHwMaxRecvLen == 0,operation result[21]"},
        {"standard, null request", false, true, 100, 4, 256, emProtoNullRequest,
         "request is null,operation result[22]"},
        {"variant, length 0", true, false, 0, 4, 256, emProtoBadLength, "sizeValidLen == 0,operation result[16]"},
        {"variant, address of 5 bytes", true, false, 100, 5, 256, emProtoBadRegisterAddr, "operation result[13]"},
        {"variant, max below the sub-header", true, false, 100, 4, 17, emProtoBadLength,
         "length < lenHead,operation result[16]"},
        {"variant, null request", true, true, 100, 4, 256, emProtoNullRequest, "request is null,operation result[22]"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        const fs::path path = m_dir / "keep.bin";
        writeFile(path, "keep me");
        Analyzer a(c.variant);
        a.filePath() = "previous";
        Request req = makeRequest(c.variant, 0, c.len);
        req.registerAddr.resize(c.addrSize);
        std::list<ST_MSGToHardDriver> out;
        EXPECT_EQ(c.code, a.run(emRequestReadFile, c.max, c.nullRequest ? nullptr : &req, out, path.string()));
        EXPECT_TRUE(logged(ZORV_LOG_INFO, c.line));
        EXPECT_TRUE(out.empty());
        EXPECT_EQ("keep me", readFile(path));
        EXPECT_EQ("previous", a.filePath());
    }
}

TEST_F(FileRequestsTest, StandardFileReadClosesAStaleOutputStream)
{
    StdAnalyzer a;
    a.m_ofsFile.open(m_dir / "stale.bin", std::ios::binary);
    ASSERT_TRUE(a.m_ofsFile.is_open());
    Request req = makeRequest(false, 0, 10);
    std::list<ST_MSGToHardDriver> out;
    const std::string path = (m_dir / "new.bin").string();
    ASSERT_EQ(emProtoSuccess, a.analyze_ClientData(256, emRequestReadFile, &req, out, path, true));
    EXPECT_FALSE(a.m_ofsFile.is_open());
}

TEST_F(FileRequestsTest, FileWriteSendsTheFileBytesInOrder)
{
    std::string bytes600;
    for (int i = 0; i < 600; ++i)
    {
        bytes600 += static_cast<char>((i * 13 + 5) & 0xFF);
    }
    const std::string bytes10 = hexBytes("f0 f1 f2 f3 f4 f5 f6 f7 f8 f9");
    // The variant's sub-header (packet sum 2, sequence 1, no extension) leads
    // every packet; nHwMaxRecvLen 22 leaves 4 file bytes per packet.
    const std::string sub = "02 00 00 00 01 00 00 00 ab ac ad ae af b0 00";
    struct Case
    {
        const char* name;
        bool variant;
        std::string file;
        unsigned long long max;
        bool selfInc;
        std::vector<std::string> frames;
        std::vector<std::string> lines;
        unsigned long long sendCount;
        unsigned long long receivedCount;
    };
    const Case cases[] = {
        {"standard: 600 bytes by 256, address stepping",
         false,
         bytes600,
         256,
         true,
         {requestFrame(1, 1, kAddr, bytes600.substr(0, 256), -1),
          requestFrame(1, 2, kAddr + 256, bytes600.substr(256, 256), -1),
          requestFrame(1, 3, kAddr + 512, bytes600.substr(512), -1)},
         {" registerbase[0x12345678], MaxDataLengthPerPacket:[256],nStreamOffSet(file totalsize):[600],sizepackage[3].",
          "register address[0x12345678], index[0]", "register address[0x12345778], index[1]",
          "register address[0x12345878], index[2]", "MSGToHardDriverLst.size :3"},
         3,
         0},
        {"standard: one packet, address repeated",
         false,
         bytes10,
         256,
         false,
         {requestFrame(1, 1, kAddr, bytes10, -1)},
         {" registerbase[0x12345678], MaxDataLengthPerPacket:[256],nStreamOffSet(file totalsize):[10],sizepackage[1].",
          "register address[0x12345678], index[0]"},
         1,
         0},
        {"variant: 10 bytes by 4 behind the sub-header",
         true,
         bytes10,
         22,
         true,
         {requestFrame(1, 1, kAddr, hexBytes("04 00 a2 " + sub + " f0 f1 f2 f3"), 22),
          requestFrame(1, 2, kAddr + 4, hexBytes("04 00 a2 " + sub + " f4 f5 f6 f7"), 22),
          requestFrame(1, 3, kAddr + 8, hexBytes("02 00 a2 " + sub + " f8 f9"), 20)},
         {" registerbase[0x12345678], MaxDataLengthPerPacket:[22],nStreamOffSet(file totalsize):[10],sizepackage[3].",
          "len:4,register address[0x12345678], index[0]", "len:4,register address[0x1234567c], index[1]",
          "len:2,register address[0x12345680], index[2]", "MSGToHardDriverLst.size :3"},
         2,
         1},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        const fs::path path = m_dir / "write.bin";
        writeFile(path, c.file);
        Analyzer a(c.variant);
        Request req = makeRequest(c.variant, 1, c.variant ? 18 : 0);
        std::list<ST_MSGToHardDriver> out;
        ASSERT_EQ(emProtoSuccess, a.run(emRequestWriteFile, c.max, &req, out, path.string(), c.selfInc));
        EXPECT_EQ(hexAll(c.frames), hexFrames(out));
        expectLogged(ZORV_LOG_TRACE, c.lines);
        EXPECT_EQ(c.sendCount, a.sendCount());
        EXPECT_EQ(c.receivedCount, a.receivedCount());
        EXPECT_EQ(c.file, readFile(path));
    }
}

TEST_F(FileRequestsTest, FileWriteThatCannotStartReturnsItsCode)
{
    const std::string missing = (m_dir / "missing.bin").string();
    const fs::path empty = m_dir / "empty.bin";
    writeFile(empty, "");
    struct Case
    {
        const char* name;
        bool variant;
        std::string path;
        bool nullRequest;
        size_t dataSize;
        unsigned long long max;
        em_ProtoAnalyze code;
        em_LOG_LEVEL level;
        std::string line;
    };
    const Case cases[] = {
        {"standard, file missing", false, missing, false, 0, 256, emProtoFileOpenFailed, ZORV_LOG_WARN,
         "open file failed , file path is [" + missing + "]. exception code :  " + std::to_string(ENOENT) + " "},
        {"variant, file missing", true, missing, false, 18, 256, emProtoFileOpenFailed, ZORV_LOG_WARN,
         "open file failed , file path is [" + missing + "]."},
        {"standard, empty file", false, empty.string(), false, 0, 256, emProtoBadLength, ZORV_LOG_INFO,
         "valiadLen == 0"},
        {"variant, empty file", true, empty.string(), false, 18, 256, emProtoBadLength, ZORV_LOG_INFO,
         "valiadLen == 0"},
        {"standard, max 0", false, missing, false, 0, 0, emProtoZeroMaxRecvLen, ZORV_LOG_INFO,
         "nHwMaxRecvLen == 0,operation result[21]"},
        {"standard, null request", false, missing, true, 0, 256, emProtoNullRequest, ZORV_LOG_INFO,
         "request is null,operation result[22]"},
        {"variant, data shorter than the sub-header", true, missing, false, 17, 256, emProtoBadLength, ZORV_LOG_INFO,
         "data shorter than sub-header,operation result[16]"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        clearLog();
        Analyzer a(c.variant);
        a.standard.m_nSendCount = a.variant.m_nSendCount = 7;
        Request req = makeRequest(c.variant, 1, 18);
        req.data.resize(c.dataSize);
        std::list<ST_MSGToHardDriver> out;
        EXPECT_EQ(c.code, a.run(emRequestWriteFile, c.max, c.nullRequest ? nullptr : &req, out, c.path));
        EXPECT_TRUE(logged(c.level, c.line)) << c.line;
        EXPECT_TRUE(out.empty());
        EXPECT_EQ(7u, a.sendCount());
    }
}

} // namespace
