// zorvproto decode's input side, as the tool runs it: hex text, a log's hex
// byte runs or raw bytes, cut into frames and printed as text and as JSON.
// Bad hex may throw BadInput, with its position in the text; nothing else may
// throw. The pieces must cover each run in order, frames must start with
// their head and carry the checksum verdict their bytes give, and every JSON
// line must parse.
//
// Input: flags (bits 0-1: 0 or 3 hex, 1 log, 2 binary; bits 2-3: 1 standard,
// 2 variant, else by checksum), the data bytes shown in text (1 byte, 0 all),
// then the text or bytes.
#include "FrameCutter.h"
#include "FrameText.h"
#include "FuzzSupport.h"
#include "HexInput.h"
#include "protobase/FrameCodec.h"

#include <algorithm>
#include <vector>

namespace
{

using zorvproto::Piece;
using zorvproto::PieceKind;

// A strict reader of one JSON value, enough to tell a well-formed line.
class Json
{
public:
    explicit Json(std::string_view text) : m_text(text) {}

    bool wholeValue() { return value(0) && m_pos == m_text.size(); }

private:
    char peek() const { return m_pos < m_text.size() ? m_text[m_pos] : '\0'; }
    bool eat(char c)
    {
        if (peek() != c)
        {
            return false;
        }
        ++m_pos;
        return true;
    }
    bool literal(std::string_view word)
    {
        if (m_text.substr(m_pos, word.size()) != word)
        {
            return false;
        }
        m_pos += word.size();
        return true;
    }
    bool digits()
    {
        const size_t start = m_pos;
        while (peek() >= '0' && peek() <= '9')
        {
            ++m_pos;
        }
        return m_pos > start;
    }
    bool number()
    {
        eat('-');
        if (!eat('0') && !digits())
        {
            return false;
        }
        if (eat('.') && !digits())
        {
            return false;
        }
        return true;
    }
    bool string()
    {
        if (!eat('"'))
        {
            return false;
        }
        while (m_pos < m_text.size())
        {
            const auto c = static_cast<unsigned char>(m_text[m_pos++]);
            if (c == '"')
            {
                return true;
            }
            if (c < 0x20 || (c == '\\' && std::string_view("\"\\/bfnrtu").find(peek()) == std::string_view::npos))
            {
                return false;
            }
        }
        return false;
    }
    bool value(int depth)
    {
        if (depth > 8)
        {
            return false;
        }
        switch (peek())
        {
        case '{':
            ++m_pos;
            if (eat('}'))
            {
                return true;
            }
            do
            {
                if (!string() || !eat(':') || !value(depth + 1))
                {
                    return false;
                }
            } while (eat(','));
            return eat('}');
        case '[':
            ++m_pos;
            if (eat(']'))
            {
                return true;
            }
            do
            {
                if (!value(depth + 1))
                {
                    return false;
                }
            } while (eat(','));
            return eat(']');
        case '"':
            return string();
        case 't':
            return literal("true");
        case 'f':
            return literal("false");
        case 'n':
            return literal("null");
        default:
            return number();
        }
    }

    std::string_view m_text;
    size_t m_pos = 0;
};

bool headAt(std::string_view in, size_t p)
{
    const std::string_view two = frame::slice(in, p, 2);
    return frame::hasDeviceHead(two) || frame::hasServerHead(two);
}

size_t lineCount(std::string_view text)
{
    return 1 + static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// Parses hex text; false, with the error checked, when it is bad hex.
bool parse(std::string_view text, std::string& out)
{
    try
    {
        out = zorvproto::parseHex(text);
    }
    catch (const zorvproto::BadInput& e)
    {
        FUZZ_CHECK(e.line() >= 1 && e.line() <= lineCount(text) && e.column() >= 1);
        const std::string where = "line " + std::to_string(e.line()) + ", column " + std::to_string(e.column()) + ": ";
        const std::string what = e.what();
        FUZZ_CHECK(what.size() > where.size() && what.compare(0, where.size(), where) == 0);
        return false;
    }
    FUZZ_CHECK(out.size() <= text.size() / 2);
    // What the tool writes reads back as the same bytes; BadInput from here
    // on is a finding.
    const std::string plain = zorvproto::toHex(out);
    FUZZ_CHECK(plain.size() == 2 * out.size());
    FUZZ_CHECK(zorvproto::parseHex(plain) == out && zorvproto::parseHex(zorvproto::toSpacedHex(out)) == out);
    return true;
}

void checkPieces(std::string_view in, const std::vector<Piece>& pieces, size_t dataBytes, size_t line)
{
    size_t next = 0;
    size_t index = 0;
    for (const Piece& piece : pieces)
    {
        // Back to back, none empty, all views into the input.
        FUZZ_CHECK(piece.offset == next && !piece.bytes.empty());
        FUZZ_CHECK(piece.bytes.data() == in.data() + piece.offset && piece.offset + piece.bytes.size() <= in.size());
        next += piece.bytes.size();
        const std::string_view f = piece.bytes;
        switch (piece.kind)
        {
        case PieceKind::Reply:
            FUZZ_CHECK(frame::hasDeviceHead(f) && f.size() >= frame::kOverhead);
            break;
        case PieceKind::Request:
        case PieceKind::Push:
            FUZZ_CHECK(frame::hasServerHead(f) && f.size() >= frame::kOverhead);
            FUZZ_CHECK((frame::byteAt(f, frame::kPacketType) == 0x32) == (piece.kind == PieceKind::Push));
            break;
        case PieceKind::Truncated:
            FUZZ_CHECK(headAt(f, 0) && !piece.checksumOk && !piece.subHeader);
            break;
        case PieceKind::Unframed:
            // Bytes before a head hold none.
            for (size_t i = 0; i < f.size(); ++i)
            {
                FUZZ_CHECK(!headAt(in, piece.offset + i));
            }
            FUZZ_CHECK(!piece.checksumOk && !piece.subHeader);
            break;
        }
        const bool isFrame = piece.kind != PieceKind::Truncated && piece.kind != PieceKind::Unframed;
        if (isFrame)
        {
            FUZZ_CHECK(piece.checksumOk == ((frame::frameChecksumSum(f) & 0xFFFF) == frame::storedChecksum(f)));
            FUZZ_CHECK(!piece.subHeader || f.size() >= frame::kVariantOverhead);
        }

        ++index;
        const std::string text = zorvproto::describe(piece, index, zorvproto::TextOptions{dataBytes});
        const std::string heading = "frame " + std::to_string(index) + " at offset " + std::to_string(piece.offset);
        FUZZ_CHECK(text.compare(0, heading.size(), heading) == 0 && text.back() == '\n');
        const std::string json = zorvproto::toJson(piece, index, line);
        FUZZ_CHECK(json.find('\n') == std::string::npos);
        FUZZ_CHECK(Json(json).wholeValue() && json.front() == '{');
    }
    FUZZ_CHECK(next == in.size());
}

void cutAndPrint(std::string_view bytes, zorvproto::Variant variant, size_t dataBytes, size_t line)
{
    checkPieces(bytes, zorvproto::cutFrames(bytes, variant), dataBytes, line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input in(data, size);
    const uint8_t flags = in.byte();
    const size_t dataBytes = in.byte();
    const std::string text = in.rest();
    const int form = flags & 0x03;
    const int choice = (flags >> 2) & 0x03;
    const zorvproto::Variant variant = choice == 1   ? zorvproto::Variant::Standard
                                       : choice == 2 ? zorvproto::Variant::Always
                                                     : zorvproto::Variant::Auto;
    try
    {
        if (form == 1)
        {
            size_t last = 0;
            for (const zorvproto::LogRun& run : zorvproto::hexRunsFromLog(text))
            {
                FUZZ_CHECK(run.line > last && run.line <= lineCount(text) && !run.bytes.empty());
                last = run.line;
                cutAndPrint(run.bytes, variant, dataBytes, run.line);
            }
        }
        else if (form == 2)
        {
            cutAndPrint(text, variant, dataBytes, 0);
        }
        else
        {
            std::string bytes;
            if (parse(text, bytes))
            {
                cutAndPrint(bytes, variant, dataBytes, 0);
            }
        }
    }
    catch (const std::exception& e)
    {
        fuzz::finding(__FILE__, __LINE__, std::string("unexpected exception: ") + e.what());
    }
    catch (...)
    {
        fuzz::finding(__FILE__, __LINE__, "unexpected exception of unknown type");
    }
    return 0;
}
