// Builder of outgoing packets: parts are appended one by one and each is
// remembered as a section.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

/// A packet's bytes and the list of its sections.
///
/// Every append adds its bytes and one section entry, their length. A pattern of
/// entries can also be laid over bytes that come otherwise (setSectionSize, then
/// setData or data), and the sections read back one by one:
///
/// - An entry of 0 or more is the section's length in bytes.
/// - An entry -k, k >= 1, says that the length is stored in section k: its first
///   four bytes, a signed integer with the least significant byte first. It
///   resolves when section k lies before it (one behind it would have to be
///   found by the very length it stores) and has four bytes in the packet;
///   section k may itself be given by a reference.
///
/// Copies are deep. An object may be used by one thread at a time.
class Q_DECL_EXPORT TxPackage
{
public:
    /// No bytes, no sections.
    TxPackage();
    TxPackage(const TxPackage& other);
    TxPackage& operator=(const TxPackage& other);
    ~TxPackage();

    /// Replaces the bytes with a copy of @p data and leaves the sections alone.
    /// Always true.
    bool setData(const QByteArray& data);
    /// The same with @p length bytes at @p data, which the caller guarantees; a
    /// negative length takes a zero-terminated text.
    bool setData(char* data, int length);
    /// The packet's totalSize() bytes, to be written in place. Holds until the
    /// next call that is not const.
    char* data();
    /// A copy of the bytes.
    QByteArray byteArrayData() const;
    /// Number of bytes.
    int totalSize() const;
    /// Number of section entries.
    int numberOfSections() const;
    /// Removes all bytes and all sections.
    void clearAll();
    /// Replaces the section entries and resizes the bytes to the sum of those
    /// that are lengths; bytes that this adds are zero. A sum of a gibibyte or
    /// more is no packet's: it leaves no bytes.
    void setSectionSize(const QList<int>& sizes);

    // Appending: each adds one section and returns true.

    bool appendSection(const QByteArray& bytes);
    bool appendByte(unsigned char byte);
    /// Low byte first.
    bool appendWord(unsigned short word);
    /// Least significant byte first.
    bool appendDWord(unsigned int dword);
    /// One byte a character, as Latin-1.
    bool appendString(const QString& text);
    /// Two uppercase hexadecimal digits.
    bool appendByte2Ascii(unsigned char byte);
    /// The LRC of all bytes so far: their plain sum modulo 256.
    bool appendLRCByte();
    /// The LRC as two uppercase hexadecimal digits.
    bool appendLRCAscii();
    /// The FCS of all bytes so far, their exclusive OR, as two uppercase
    /// hexadecimal digits. The argument has no effect.
    bool appendFCSAscii(int);

    // Reading sections.

    /// Whether there is a section @p i.
    bool validSectionNumber(int i) const;
    /// The sum of the sizes of the sections before @p i, at most what an int
    /// holds; a size below 0 counts as 0. -1 when there is no section @p i.
    int sectionStartIndex(int i) const;
    /// The length of section @p i: its entry, or the stored length as it stands,
    /// negative or beyond the packet included. -1 when there is no section @p i
    /// and for a reference that does not resolve.
    int sectionSize(int i) const;
    /// The bytes of section @p i, as many as the packet holds of them; none for a
    /// size below 0.
    QByteArray dataAt(int i) const;
    /// The first byte, 0 to 255; 0 for an empty array.
    int arrayToInt(const QByteArray& bytes) const;

    /// The FCS of @p package without its last @p n bytes: 0 when there are no
    /// more than that, all bytes for a negative @p n. @p package is not null.
    static int calculateFCS(TxPackage* package, int n);
    /// The bytes as dumpByteArray (drivers/tools/environment.h) renders them.
    QString toString();

private:
    QByteArray m_bytes;
    QList<int> m_sectionSizes;
};

/// A section list without entries.
Q_DECL_EXPORT QList<int> EmptyPackageSizeList();
