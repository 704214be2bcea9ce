#include "HexInput.h"

#include "protobase/FrameCodec.h"

namespace zorvproto
{

using frame::hexDigit;

namespace
{

bool isSeparator(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ':' || c == ',';
}

std::string describe(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x21 && byte < 0x7F)
    {
        return std::string("'") + c + "'";
    }
    static const char digits[] = "0123456789abcdef";
    return std::string("byte 0x") + digits[byte >> 4] + digits[byte & 0x0F];
}

// Walks text keeping the line and column of the character at pos.
class Cursor
{
public:
    explicit Cursor(std::string_view text) : m_text(text) {}
    bool done() const { return m_pos >= m_text.size(); }
    char peek(size_t ahead = 0) const { return m_pos + ahead < m_text.size() ? m_text[m_pos + ahead] : '\0'; }
    void next()
    {
        if (m_text[m_pos] == '\n')
        {
            ++m_line;
            m_column = 1;
        }
        else
        {
            ++m_column;
        }
        ++m_pos;
    }
    [[noreturn]] void fail(const std::string& message) const { throw BadInput(m_line, m_column, message); }
    size_t line() const { return m_line; }
    size_t column() const { return m_column; }

private:
    std::string_view m_text;
    size_t m_pos = 0;
    size_t m_line = 1;
    size_t m_column = 1;
};

// Whether s is "XX XX ... XX": uppercase or lowercase digit pairs one blank
// apart, at least one pair; a trailing carriage return is allowed.
bool isHexRun(std::string_view s)
{
    if (!s.empty() && s.back() == '\r')
    {
        s.remove_suffix(1);
    }
    if (s.size() < 2 || s.size() % 3 != 2)
    {
        return false;
    }
    for (size_t i = 0; i < s.size(); ++i)
    {
        const bool ok = i % 3 == 2 ? s[i] == ' ' : hexDigit(s[i]) >= 0;
        if (!ok)
        {
            return false;
        }
    }
    return true;
}

}  // namespace

BadInput::BadInput(size_t line, size_t column, const std::string& message)
    : std::runtime_error("line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + message),
      m_line(line), m_column(column)
{
}

std::string parseHex(std::string_view text)
{
    std::string out;
    Cursor at(text);
    while (!at.done())
    {
        const char c = at.peek();
        if (isSeparator(c))
        {
            at.next();
            continue;
        }
        if (c == '#')
        {
            while (!at.done() && at.peek() != '\n')
            {
                at.next();
            }
            continue;
        }
        if (c == '0' && (at.peek(1) == 'x' || at.peek(1) == 'X'))
        {
            at.next();
            at.next();
            if (hexDigit(at.peek()) < 0)
            {
                at.fail(at.done() ? "\"0x\" with no hex digits after it" : describe(at.peek()) + " is not a hex digit");
            }
        }
        // A run of digits: two per byte.
        const size_t line = at.line();
        const size_t column = at.column();
        size_t digits = 0;
        int high = 0;
        while (!at.done() && !isSeparator(at.peek()) && at.peek() != '#')
        {
            const int value = hexDigit(at.peek());
            if (value < 0)
            {
                at.fail(describe(at.peek()) + " is not a hex digit");
            }
            if (digits % 2 == 0)
            {
                high = value;
            }
            else
            {
                out += static_cast<char>(high * 16 + value);
            }
            ++digits;
            at.next();
        }
        if (digits % 2 != 0)
        {
            throw BadInput(line, column, "odd number of hex digits (" + std::to_string(digits) + ") in a run");
        }
    }
    return out;
}

std::string toHex(std::string_view bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const char c : bytes)
    {
        const auto byte = static_cast<unsigned char>(c);
        out += digits[byte >> 4];
        out += digits[byte & 0x0F];
    }
    return out;
}

std::string toSpacedHex(std::string_view bytes)
{
    std::string out;
    out.reserve(bytes.size() * 3);
    const std::string plain = toHex(bytes);
    for (size_t i = 0; i < plain.size(); i += 2)
    {
        if (i != 0)
        {
            out += ' ';
        }
        out.append(plain, i, 2);
    }
    return out;
}

std::vector<LogRun> hexRunsFromLog(std::string_view log)
{
    std::vector<LogRun> runs;
    size_t lineNumber = 0;
    size_t start = 0;
    while (start < log.size())
    {
        size_t end = log.find('\n', start);
        if (end == std::string_view::npos)
        {
            end = log.size();
        }
        const std::string_view line = log.substr(start, end - start);
        ++lineNumber;
        start = end + 1;

        const size_t tag = line.find("] ");
        if (tag == std::string_view::npos)
        {
            continue;
        }
        // Every ":<digits> " after the tag is a candidate end of the signature.
        for (size_t colon = line.find(':', tag); colon != std::string_view::npos; colon = line.find(':', colon + 1))
        {
            size_t i = colon + 1;
            while (i < line.size() && line[i] >= '0' && line[i] <= '9')
            {
                ++i;
            }
            if (i == colon + 1 || i >= line.size() || line[i] != ' ' || !isHexRun(line.substr(i + 1)))
            {
                continue;
            }
            std::string_view run = line.substr(i + 1);
            LogRun found;
            found.line = lineNumber;
            for (size_t k = 0; k + 1 < run.size(); k += 3)
            {
                found.bytes += static_cast<char>(hexDigit(run[k]) * 16 + hexDigit(run[k + 1]));
            }
            runs.push_back(std::move(found));
            break;
        }
    }
    return runs;
}

}  // namespace zorvproto
