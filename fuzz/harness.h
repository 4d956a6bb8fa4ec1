// What the harnesses share. Each harness is one function over bytes that a fuzzer, or
// the replay of stored inputs, hands in; it ends the process when something that must
// always hold does not.
#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#define REQUIRE(condition)                                                                         \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);    \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

/// Decisions and data taken from the input's front; behind its end all are 0 or empty.
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_bytes(reinterpret_cast<const char*>(data), static_cast<int>(size))
    {}

    bool atEnd() const { return m_at >= size(); }
    int byte() { return atEnd() ? 0 : static_cast<std::uint8_t>(m_bytes.at(m_at++)); }
    int word()
    {
        const int low = byte();
        return low | byte() << 8;
    }
    /// From 0 to @p count - 1.
    int below(int count) { return byte() % count; }
    QByteArray bytes(int most)
    {
        const QByteArray taken = m_bytes.mid(m_at, most);
        m_at += static_cast<int>(taken.size());
        return taken;
    }
    QByteArray rest() { return bytes(size()); }

private:
    int size() const { return static_cast<int>(m_bytes.size()); }

    QByteArray m_bytes;
    int m_at = 0;
};

/// A copy that ends where its bytes end, so that a sanitizer sees a read past them;
/// a QByteArray has a zero there.
class ExactBytes
{
public:
    explicit ExactBytes(const QByteArray& bytes)
        : m_bytes(new unsigned char[static_cast<std::size_t>(bytes.size())])
    {
        std::copy(bytes.begin(), bytes.end(), m_bytes.get());
    }

    unsigned char* get() const { return m_bytes.get(); }
    const char* text() const { return reinterpret_cast<const char*>(get()); }

private:
    std::unique_ptr<unsigned char[]> m_bytes;
};
