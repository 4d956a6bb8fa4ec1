#include "drivers/txpackage.h"

#include <QVector>
#include <climits>

#include "drivers/tools/checksums.h"
#include "drivers/tools/conversions.h"
#include "drivers/tools/environment.h"

namespace {

// Every version of QByteArray grows to this.
const qint64 LARGEST_PACKAGE = (1 << 30) - 1;
const int UNRESOLVED = -1;
const int STORED_LENGTH_SIZE = 4;

/// Where a section lies once the references before it are resolved.
struct Section
{
    qint64 start;
    int size;
};

/// Bytes of its own, for a packet is written to through plain pointers and may
/// be made from an array over somebody else's memory.
QByteArray deepCopy(const QByteArray& bytes)
{
    return QByteArray(bytes.constData(), bytes.size());
}

const unsigned char* bytesOf(const QByteArray& bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

QByteArray hexDigits(unsigned char byte)
{
    return QByteArray(1, static_cast<char>(byte)).toHex().toUpper();
}

QByteArray cut(const QByteArray& bytes, const Section& section)
{
    const qint64 left = bytes.size() - section.start;
    if (section.size <= 0 || left <= 0)
        return QByteArray();
    return bytes.mid(static_cast<int>(section.start),
                     static_cast<int>(qMin<qint64>(section.size, left)));
}

int storedLength(const QByteArray& bytes, const Section& section)
{
    const QByteArray stored = cut(bytes, section);
    return stored.size() < STORED_LENGTH_SIZE ? UNRESOLVED : QByteArrayToInt(stored);
}

/// Section @p last, found by resolving those before it in their order.
Section resolve(const QByteArray& bytes, const QList<int>& entries, int last)
{
    QVector<Section> sections;
    Section section = {0, 0};
    for (int i = 0; i <= last; ++i) {
        const qint64 entry = entries.at(i);
        section.start += qMax(section.size, 0);
        if (entry >= 0)
            section.size = static_cast<int>(entry);
        else if (-entry < i)
            section.size = storedLength(bytes, sections.at(static_cast<int>(-entry)));
        else
            section.size = UNRESOLVED;
        sections.append(section);
    }
    return section;
}

}

TxPackage::TxPackage() = default;

TxPackage::TxPackage(const TxPackage& other)
    : m_bytes(deepCopy(other.m_bytes))
    , m_sectionSizes(other.m_sectionSizes)
{}

TxPackage& TxPackage::operator=(const TxPackage& other)
{
    if (this == &other)
        return *this;
    m_bytes = deepCopy(other.m_bytes);
    m_sectionSizes = other.m_sectionSizes;
    return *this;
}

TxPackage::~TxPackage() = default;

bool TxPackage::setData(const QByteArray& data)
{
    m_bytes = deepCopy(data);
    return true;
}

bool TxPackage::setData(char* data, int length)
{
    m_bytes = QByteArray(data, length < 0 ? static_cast<int>(qstrlen(data)) : length);
    return true;
}

char* TxPackage::data()
{
    return m_bytes.data();
}

QByteArray TxPackage::byteArrayData() const
{
    return deepCopy(m_bytes);
}

int TxPackage::totalSize() const
{
    return static_cast<int>(m_bytes.size());
}

int TxPackage::numberOfSections() const
{
    return static_cast<int>(m_sectionSizes.size());
}

void TxPackage::clearAll()
{
    m_bytes.clear();
    m_sectionSizes.clear();
}

void TxPackage::setSectionSize(const QList<int>& sizes)
{
    m_sectionSizes = sizes;
    qint64 sum = 0;
    for (int i = 0; i < numberOfSections(); ++i)
        sum += qMax(sizes.at(i), 0);
    const int size = sum > LARGEST_PACKAGE ? 0 : static_cast<int>(sum);
    const int missing = size - totalSize();
    if (missing > 0)
        m_bytes.append(QByteArray(missing, '\0'));
    else
        m_bytes.truncate(size);
}

bool TxPackage::appendSection(const QByteArray& bytes)
{
    m_sectionSizes.append(static_cast<int>(bytes.size()));
    m_bytes.append(bytes);
    return true;
}

bool TxPackage::appendByte(unsigned char byte)
{
    return appendSection(QByteArray(1, static_cast<char>(byte)));
}

bool TxPackage::appendWord(unsigned short word)
{
    return appendSection(wordToByteArray(word));
}

bool TxPackage::appendDWord(unsigned int dword)
{
    return appendSection(intToByteArray(static_cast<int>(dword)));
}

bool TxPackage::appendString(const QString& text)
{
    return appendSection(text.toLatin1());
}

bool TxPackage::appendByte2Ascii(unsigned char byte)
{
    return appendSection(hexDigits(byte));
}

bool TxPackage::appendLRCByte()
{
    return appendByte(UInt8CheckSum(bytesOf(m_bytes), totalSize()));
}

bool TxPackage::appendLRCAscii()
{
    return appendByte2Ascii(UInt8CheckSum(bytesOf(m_bytes), totalSize()));
}

bool TxPackage::appendFCSAscii(int)
{
    return appendByte2Ascii(XorUInt8CheckSum(bytesOf(m_bytes), totalSize()));
}

bool TxPackage::validSectionNumber(int i) const
{
    return i >= 0 && i < numberOfSections();
}

int TxPackage::sectionStartIndex(int i) const
{
    if (!validSectionNumber(i))
        return -1;
    return static_cast<int>(qMin<qint64>(resolve(m_bytes, m_sectionSizes, i).start, INT_MAX));
}

int TxPackage::sectionSize(int i) const
{
    return validSectionNumber(i) ? resolve(m_bytes, m_sectionSizes, i).size : -1;
}

QByteArray TxPackage::dataAt(int i) const
{
    return validSectionNumber(i) ? cut(m_bytes, resolve(m_bytes, m_sectionSizes, i)) : QByteArray();
}

int TxPackage::arrayToInt(const QByteArray& bytes) const
{
    return bytes.isEmpty() ? 0 : static_cast<unsigned char>(bytes.at(0));
}

int TxPackage::calculateFCS(TxPackage* package, int n)
{
    return XorUInt8CheckSum(bytesOf(package->m_bytes), package->totalSize() - qMax(n, 0));
}

QString TxPackage::toString()
{
    return dumpByteArray(m_bytes);
}

QList<int> EmptyPackageSizeList()
{
    return QList<int>();
}
