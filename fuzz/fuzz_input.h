#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>

namespace oru_fuzz {

// Reads a fuzz input front to back; past the end everything reads as zero.
class Input
{
public:
    Input(const uint8_t *data, size_t size)
        : data(data)
        , size(size)
    {
    }

    bool empty() const { return pos >= size; }
    size_t left() const { return size - pos; }
    uint8_t byte() { return pos < size ? data[pos++] : 0; }
    quint16 u16()
    {
        const quint16 low = byte();
        return quint16(low | (quint16(byte()) << 8));
    }
    quint32 u32() { return quint32(u16()) | (quint32(u16()) << 16); }
    // Up to `max` bytes, fewer when the input runs out.
    QByteArray bytes(size_t max)
    {
        const size_t n = max < left() ? max : left();
        const QByteArray out(reinterpret_cast<const char *>(data + pos), int(n));
        pos += n;
        return out;
    }
    QByteArray rest() { return bytes(left()); }

private:
    const uint8_t *data;
    size_t size;
    size_t pos = 0;
};

} // namespace oru_fuzz
