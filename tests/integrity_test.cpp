// Data integrity: a big file written and read through the device simulator
// arrives bit-exact, in bounded memory; a file read whose output cannot be
// written keeps what was written and the reply.
//
// ZORV_BIG_FILE_MB sets the size of the big transfers (64 by default; the
// sanitizer and Windows lanes run smaller ones).
#include "devicesim/DeviceSimulator.h"
#include "support/LogCapture.h"
#include "support/Sha256.h"
#include "support/SimRoundTrip.h"
#include "support/TempPath.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>

#if defined(__unix__)
#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#define ZORV_HAS_FORK 1
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZORV_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZORV_SANITIZED 1
#endif
#endif

using zorv::DeviceSimulator;
using zorv::Faults;

namespace
{

constexpr unsigned int kPacket = 60000;        // data bytes a frame, near the 16-bit length's limit
constexpr unsigned int kPort = 0x40000000;     // a write port: every packet lands at this address
constexpr unsigned int kStorage = 0x10000000;  // a read's start; never written, so it reads as the pattern

std::size_t bigFileBytes()
{
    const char* mb = std::getenv("ZORV_BIG_FILE_MB");
    return (mb != nullptr && *mb != '\0' ? std::strtoul(mb, nullptr, 10) : 64) << 20;
}

std::string fileSha256(const std::string& path, std::size_t& size)
{
    std::ifstream in(path, std::ios::binary);
    Sha256 sha;
    std::string chunk(1 << 20, '\0');
    size = 0;
    while (in.read(&chunk[0], static_cast<std::streamsize>(chunk.size())) || in.gcount() > 0)
    {
        sha.add(std::string_view(chunk.data(), static_cast<std::size_t>(in.gcount())));
        size += static_cast<std::size_t>(in.gcount());
    }
    return sha.hex();
}

// What a transfer reports: its ending, the SHA-256 of what went in and of what came out, the sizes, and the peak
// memory it added in KiB (-1 where not measured).
struct Transfer
{
    std::string ending, sent, arrived;
    std::size_t sentBytes = 0, arrivedBytes = 0;
    long addedKiB = -1;
};

std::string serialise(const Transfer& t)
{
    std::ostringstream out;
    out << t.ending << ' ' << t.sent << ' ' << t.arrived << ' ' << t.sentBytes << ' ' << t.arrivedBytes << ' '
        << t.addedKiB;
    return out.str();
}

Transfer parse(const std::string& text)
{
    Transfer t;
    std::istringstream in(text);
    in >> t.ending >> t.sent >> t.arrived >> t.sentBytes >> t.arrivedBytes >> t.addedKiB;
    return t;
}

// Runs body in a child process, so that its peak memory is its own, and returns what the body returned; where
// processes cannot be forked the body runs here.
template <class Body>
std::string isolated(Body body)
{
#if ZORV_HAS_FORK
    int fds[2];
    if (pipe(fds) != 0)
        return "pipe failed";
    const pid_t child = fork();
    if (child == 0)
    {
        close(fds[0]);
        const std::string out = body();
        const ssize_t written = write(fds[1], out.data(), out.size());
        _exit(written == static_cast<ssize_t>(out.size()) ? 0 : 1);
    }
    close(fds[1]);
    std::string out;
    char buffer[4096];
    for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;)
        out.append(buffer, static_cast<std::size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? out : "child failed: " + out;
#else
    return body();
#endif
}

long peakKiB()
{
#if ZORV_HAS_FORK
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
#else
    return -1;
#endif
}

class BigFile : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_level = zorvlog::level();
        zorvlog::setLevel(ZORV_LOG_WARN);  // the transfers' own lines would outweigh them
    }
    void TearDown() override
    {
        zorvlog::setLevel(m_level);
        std::remove(m_in.c_str());
        std::remove(m_out.c_str());
    }

    // The device takes requests and delivers replies in random pieces of up to 8 KiB.
    Faults pieces() const { return {.maxPiece = 8192, .seed = 20260611}; }

    const std::size_t m_bytes = bigFileBytes();
    const std::string m_in = tempPath("big_in.bin"), m_out = tempPath("big_out.bin");
    em_LOG_LEVEL m_level = ZORV_LOG_INFO;
};

// Peak memory: the message list of a file write holds every frame at once, and a file read keeps every byte it
// received in the reply record as well as in the file (both as documented), so each transfer needs one copy of
// the file in memory; the bound allows that copy and the growth of the record, no more.
void expectBoundedMemory(const Transfer& t, std::size_t bytes)
{
#if ZORV_HAS_FORK && !defined(ZORV_SANITIZED)
    const long fileKiB = static_cast<long>(bytes >> 10);
    EXPECT_LT(t.addedKiB, 2 * fileKiB + 16 * 1024) << "peak memory added, KiB, for a file of " << fileKiB << " KiB";
    ::testing::Test::RecordProperty("peak_added_kib", std::to_string(t.addedKiB));
    std::cout << "peak memory added: " << t.addedKiB << " KiB for a file of " << fileKiB << " KiB\n";
#else
    (void)t;
    (void)bytes;
#endif
}

}  // namespace

TEST_F(BigFile, AFileWrittenThroughTheDeviceArrivesBitExact)
{
    const Transfer t = parse(isolated([&] {
        const long before = peakKiB();
        Transfer out;
        {
            std::ofstream file(m_in, std::ios::binary);
            std::mt19937 rng(7);
            Sha256 sha;
            std::string chunk(1 << 20, '\0');
            for (std::size_t done = 0; done < m_bytes; done += chunk.size())
            {
                chunk.resize(std::min(chunk.size(), m_bytes - done));
                for (char& b : chunk)
                    b = static_cast<char>(rng());
                sha.add(chunk);
                file.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
            }
            out.sent = sha.hex();
            out.sentBytes = m_bytes;
        }
        ServerStub stub;
        DeviceSimulator device(DeviceSimulator::Flavor::Standard, pieces());
        SimServer server(stub, device, "3rd-proto");
        Sha256 arrived;
        // Each packet overwrites the port; the test takes it from there as it lands.
        server.onAnswered = [&](const std::string& frame) {
            const std::size_t length = static_cast<unsigned char>(frame[16]) | static_cast<unsigned char>(frame[17])
                                                                                   << 8;
            arrived.add(device.readRegisters(kPort, length));
            out.arrivedBytes += length;
        };
        out.ending = endingName(server
                                    .run({.type = emRequestWriteFile,
                                          .record = makeRequest(false, true, kPort, "", 0),
                                          .path = m_in,
                                          .maxLen = kPacket,
                                          .selfIncreasing = false})
                                    .ending);
        out.arrived = arrived.hex();
        out.addedKiB = peakKiB() - before;
        return serialise(out);
    }));
    EXPECT_EQ("success", t.ending);
    EXPECT_EQ(m_bytes, t.arrivedBytes);
    EXPECT_EQ(t.sent, t.arrived);
    expectBoundedMemory(t, m_bytes);
}

TEST_F(BigFile, AFileReadThroughTheDeviceArrivesBitExact)
{
    const Transfer t = parse(isolated([&] {
        const long before = peakKiB();
        Transfer out;
        ServerStub stub;
        DeviceSimulator device(DeviceSimulator::Flavor::Standard, pieces());
        SimServer server(stub, device, "3rd-proto");
        out.ending = endingName(server
                                    .run({.type = emRequestReadFile,
                                          .record = makeRequest(false, false, kStorage, "", m_bytes),
                                          .path = m_out,
                                          .maxLen = kPacket})
                                    .ending);
        out.addedKiB = peakKiB() - before;
        // What the device holds, from a device of its own.
        const DeviceSimulator fresh(DeviceSimulator::Flavor::Standard);
        Sha256 sent;
        for (std::size_t done = 0; done < m_bytes; done += 1 << 20)
            sent.add(fresh.readRegisters(static_cast<std::uint32_t>(kStorage + done),
                                         std::min<std::size_t>(1 << 20, m_bytes - done)));
        out.sent = sent.hex();
        out.sentBytes = m_bytes;
        out.arrived = fileSha256(m_out, out.arrivedBytes);
        return serialise(out);
    }));
    EXPECT_EQ("success", t.ending);
    EXPECT_EQ(m_bytes, t.arrivedBytes);
    EXPECT_EQ(t.sent, t.arrived);
    expectBoundedMemory(t, m_bytes);
}

namespace
{

class UnwritableOutput : public LogCaptureTest
{
protected:
    // A file read of 20000 bytes in packets of 1024 into path, its replies in pieces.
    Ending readInto(const std::string& path, ServerStub& stub)
    {
        DeviceSimulator device(DeviceSimulator::Flavor::Standard, {.maxPiece = 700, .seed = 3});
        SimServer server(stub, device, "3rd-proto");
        return server
            .run({.type = emRequestReadFile,
                  .record = makeRequest(false, false, kStorage, "", kBytes),
                  .path = path,
                  .maxLen = 1024})
            .ending;
    }

    std::string expected(std::size_t n) const
    {
        return DeviceSimulator(DeviceSimulator::Flavor::Standard).readRegisters(kStorage, n);
    }

    static constexpr std::size_t kBytes = 20000;
};

}  // namespace

// Each reply finds the path taken by a directory that the read cannot delete: every reply logs it, the transfer
// still completes and the reply record holds every byte; the directory is left as it was.
TEST_F(UnwritableOutput, ADirectoryInTheWayIsLoggedAndTheReplyKept)
{
    const std::filesystem::path dir = std::filesystem::path(tempPath("output_is_a_directory"));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "keep.txt") << "kept";
    ServerStub stub;
    EXPECT_EQ(endingName(Ending::Success), endingName(readInto(dir.string(), stub)));
    const auto record = stub.getReplyPackage("3rd-proto");
    EXPECT_EQ(expected(kBytes), std::string(record->data.begin(), record->data.end()));
    EXPECT_TRUE(logged(ZORV_LOG_WARN, "RequestReadFile delete file fail"));
    const Lines all = lines();
    const auto count = std::count(all.begin(), all.end(), "3 filepath:[" + dir.string() + "] open failed ...");
    EXPECT_EQ(static_cast<std::ptrdiff_t>(kBytes / 1024 + 1), count) << "one line per reply";
    EXPECT_TRUE(std::filesystem::is_directory(dir) && std::filesystem::exists(dir / "keep.txt"));
    std::filesystem::remove_all(dir);
}

#if ZORV_HAS_FORK
// A full disk, made by a file-size limit in a child process (SIGXFSZ ignored, so that writing past it fails with
// EFBIG): the transfer completes, the reply record holds every byte, and the file keeps every byte that fitted,
// in order. The library only sets the stream's fail state: nothing in its log tells of the failed write.
TEST_F(UnwritableOutput, AFullDiskKeepsWhatWasWritten)
{
    const std::string path = tempPath("full_disk.bin");
    constexpr rlim_t kLimit = 5000;  // neither a packet nor a stream buffer multiple
    const std::string child = isolated([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{kLimit, kLimit};
        setrlimit(RLIMIT_FSIZE, &limit);
        ServerStub stub;
        const Ending ending = readInto(path, stub);
        return std::string(endingName(ending)) + '|' + std::to_string(stub.getReplyPackage("3rd-proto")->data.size()) +
               '|' + ::testing::PrintToString(lines("", ZORV_LOG_WARN));
    });
    EXPECT_EQ(0u, child.rfind("success|" + std::to_string(kBytes) + '|', 0))
        << "ending|record size|warnings: " << child;
    std::ifstream file(path, std::ios::binary);
    const std::string onDisk((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(kLimit, onDisk.size());
    EXPECT_TRUE(onDisk == expected(onDisk.size())) << "the bytes on disk are not the start of the data";
    std::remove(path.c_str());
}
#endif
