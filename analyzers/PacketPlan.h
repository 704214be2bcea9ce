// How a request of some total length is cut into packets of at most a given
// number of data bytes: full packets, the last one carrying the remainder (or
// a full packet when the length divides evenly).
#pragma once

class PacketPlan
{
public:
    PacketPlan(unsigned long long total, unsigned long long perPacket)
        : m_total(total), m_perPacket(perPacket),
          m_count(perPacket == 0 ? 0 : total / perPacket + (total % perPacket != 0 ? 1 : 0))
    {
    }

    unsigned long long count() const { return m_count; }

    // Data bytes of packet i (0-based).
    unsigned long long chunk(unsigned long long i) const
    {
        if (i + 1 < m_count)
        {
            return m_perPacket;
        }
        const unsigned long long rest = m_total % m_perPacket;
        return rest == 0 ? m_perPacket : rest;
    }

private:
    unsigned long long m_total;
    unsigned long long m_perPacket;
    unsigned long long m_count;
};
