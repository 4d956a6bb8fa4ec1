#include "drivers/tools/packing.h"

#include <climits>

namespace {

/// How one value stands in a message.
struct Layout
{
    int width; ///< bytes; 0 for what is no value letter
    bool highByteFirst;
    bool takesCount;
};

Layout layoutOf(char letter)
{
    switch (letter) {
    case 'C':
    case 'c':
        return {1, false, true};
    case 'S':
    case 's':
        return {2, false, false};
    case 'v':
        return {2, false, true};
    case 'n':
        return {2, true, true};
    case 'I':
    case 'i':
    case 'L':
    case 'l':
        return {4, false, false};
    case 'V':
        return {4, false, true};
    case 'N':
        return {4, true, true};
    default:
        return {0, false, false};
    }
}

int shiftOfByte(const Layout& layout, int position)
{
    return 8 * (layout.highByteFirst ? layout.width - 1 - position : position);
}

// A va_list handed on by value is left indeterminate by va_arg in the callee;
// inside a structure handed on by reference it advances for everybody.
struct Arguments
{
    va_list list;
};

quint32 elementAt(const void* array, int index, int width)
{
    switch (width) {
    case 1:
        return static_cast<const quint8*>(array)[index];
    case 2:
        return static_cast<const quint16*>(array)[index];
    default:
        return static_cast<const quint32*>(array)[index];
    }
}

void setElementAt(void* array, int index, int width, quint32 value)
{
    switch (width) {
    case 1:
        static_cast<quint8*>(array)[index] = static_cast<quint8>(value);
        return;
    case 2:
        static_cast<quint16*>(array)[index] = static_cast<quint16>(value);
        return;
    default:
        static_cast<quint32*>(array)[index] = value;
        return;
    }
}

class BufferSink
{
public:
    static const bool countedGaps = true;

    explicit BufferSink(unsigned char* buffer)
        : m_next(buffer)
    {}

    void put(quint8 byte) { *m_next++ = byte; }
    void leave(int count) { m_next += count; }
    const unsigned char* next() const { return m_next; }

private:
    unsigned char* m_next;
};

class ArraySink
{
public:
    static const bool countedGaps = false;

    void put(quint8 byte) { m_bytes.append(static_cast<char>(byte)); }
    void leave(int count) { m_bytes.append(QByteArray(count, '\0')); }
    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

/// Takes values from the arguments and puts their bytes into a sink.
template <typename Sink>
class Packer
{
public:
    static const bool countedGaps = Sink::countedGaps;

    explicit Packer(Sink& sink)
        : m_sink(sink)
    {}

    void gap(char letter, int count)
    {
        if (letter == 'X') {
            m_sink.leave(count);
            return;
        }
        for (int i = 0; i < count; ++i)
            m_sink.put(0);
    }

    void single(const Layout& layout, Arguments& arguments)
    {
        put(layout, va_arg(arguments.list, unsigned int));
    }

    void array(const Layout& layout, int count, Arguments& arguments)
    {
        const void* const elements = va_arg(arguments.list, const void*);
        for (int i = 0; i < count; ++i)
            put(layout, elementAt(elements, i, layout.width));
    }

private:
    void put(const Layout& layout, quint32 value)
    {
        for (int i = 0; i < layout.width; ++i)
            m_sink.put(static_cast<quint8>(value >> shiftOfByte(layout, i)));
    }

    Sink& m_sink;
};

/// Takes bytes from a buffer and stores their values through the arguments.
class Unpacker
{
public:
    static const bool countedGaps = true;

    explicit Unpacker(const unsigned char* buffer)
        : m_next(buffer)
    {}

    void gap(char, int count) { m_next += count; }

    void single(const Layout& layout, Arguments& arguments) { array(layout, 1, arguments); }

    void array(const Layout& layout, int count, Arguments& arguments)
    {
        void* const elements = va_arg(arguments.list, void*);
        for (int i = 0; i < count; ++i)
            setElementAt(elements, i, layout.width, take(layout));
    }

    const unsigned char* next() const { return m_next; }

private:
    quint32 take(const Layout& layout)
    {
        quint32 value = 0;
        for (int i = 0; i < layout.width; ++i)
            value |= static_cast<quint32>(*m_next++) << shiftOfByte(layout, i);
        return value;
    }

    const unsigned char* m_next;
};

enum class Scan
{
    Done,
    UnknownLetter,
    BadCount
};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isGap(char letter)
{
    return letter == 'x' || letter == 'X';
}

/// Reads the digits at @p at and leaves it on the letter behind them; -1 for a
/// count beyond what an int holds.
int takeCount(const char*& at)
{
    qint64 count = 0;
    for (; isDigit(*at); ++at) {
        if (count <= INT_MAX)
            count = count * 10 + (*at - '0');
    }
    return count <= INT_MAX ? static_cast<int>(count) : -1;
}

template <typename Fields>
bool countedField(const char*& at, Arguments& arguments, Fields& fields)
{
    const int count = takeCount(at);
    if (count < 0)
        return false;
    if (isGap(*at)) {
        if (!Fields::countedGaps)
            return false;
        fields.gap(*at, count);
        return true;
    }
    const Layout layout = layoutOf(*at);
    if (!layout.takesCount || count == 0)
        return false;
    fields.array(layout, count, arguments);
    return true;
}

template <typename Fields>
Scan scan(const char* format, va_list list, Fields& fields)
{
    Arguments arguments;
    va_copy(arguments.list, list);
    Scan result = Scan::Done;
    for (const char* at = format; *at != '\0'; ++at) {
        if (isDigit(*at)) {
            if (!countedField(at, arguments, fields)) {
                result = Scan::BadCount;
                break;
            }
        } else if (isGap(*at)) {
            fields.gap(*at, 1);
        } else {
            const Layout layout = layoutOf(*at);
            if (layout.width == 0) {
                result = Scan::UnknownLetter;
                break;
            }
            fields.single(layout, arguments);
        }
    }
    va_end(arguments.list);
    return result;
}

}

QByteArray VByteArrayPack(const char* format, va_list arguments)
{
    ArraySink sink;
    Packer<ArraySink> packer(sink);
    return scan(format, arguments, packer) == Scan::Done ? sink.bytes() : QByteArray();
}

int VDataPack(unsigned char* buffer, const char* format, va_list arguments)
{
    BufferSink sink(buffer);
    Packer<BufferSink> packer(sink);
    switch (scan(format, arguments, packer)) {
    case Scan::Done:
        return static_cast<int>(sink.next() - buffer);
    case Scan::UnknownLetter:
        return 0;
    default:
        return -1;
    }
}

int VDataUnpack(const unsigned char* buffer, const char* format, va_list arguments)
{
    Unpacker unpacker(buffer);
    return scan(format, arguments, unpacker) == Scan::Done
               ? static_cast<int>(unpacker.next() - buffer)
               : -1;
}

QByteArray ByteArrayPack(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    QByteArray packed = VByteArrayPack(format, arguments);
    va_end(arguments);
    return packed;
}

int DataPack(unsigned char* buffer, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = VDataPack(buffer, format, arguments);
    va_end(arguments);
    return length;
}

int DataUnpack(const unsigned char* buffer, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = VDataUnpack(buffer, format, arguments);
    va_end(arguments);
    return length;
}
