#include "simulator/datatables.h"

#include <QtEndian>
#include <cstring>

namespace simulator {

namespace {

constexpr int bytesPerWord = 2;
const QByteArray letters = "OISBTCRNF"; // in the order of the codes

int wordsPerElement(FileType type)
{
    switch (type) {
    case FileType::Timer:
    case FileType::Counter:
    case FileType::Control:
        return 3;
    case FileType::Float:
        return 2;
    case FileType::Output:
    case FileType::Input:
    case FileType::Status:
    case FileType::Bit:
    case FileType::Integer:
        break;
    }
    return 1;
}

}

std::optional<FileType> fileTypeOf(quint8 code)
{
    if (code < static_cast<quint8>(FileType::Output) || code > static_cast<quint8>(FileType::Float))
        return std::nullopt;
    return static_cast<FileType>(code);
}

char fileLetter(FileType type)
{
    return letters.at(static_cast<int>(type) - static_cast<int>(FileType::Output));
}

std::optional<FileType> fileTypeWith(char letter)
{
    const auto at = letters.indexOf(letter);
    if (at < 0)
        return std::nullopt;
    return static_cast<FileType>(static_cast<int>(FileType::Output) + at);
}

DataFile::DataFile(FileType type, int elements)
    : m_type(type)
    , m_elements(elements)
    , m_bytes(elements * bytesPerElement(), '\0')
{}

int DataFile::bytesPerElement() const
{
    return wordsPerElement(m_type) * bytesPerWord;
}

int DataFile::bytesPerUnit() const
{
    return m_type == FileType::Float ? bytesPerElement() : bytesPerWord;
}

bool DataFile::has(int element, int subElement) const
{
    return element >= 0 && element < m_elements && subElement >= 0
           && subElement < bytesPerElement() / bytesPerUnit();
}

int DataFile::offsetOf(int element, int subElement) const
{
    return element * bytesPerElement() + subElement * bytesPerUnit();
}

bool DataFile::holds(int element, int subElement, int size) const
{
    return has(element, subElement) && size >= 0
           && size <= static_cast<int>(m_bytes.size()) - offsetOf(element, subElement);
}

std::optional<QByteArray> DataFile::read(int element, int subElement, int size) const
{
    if (!holds(element, subElement, size))
        return std::nullopt;
    return m_bytes.mid(offsetOf(element, subElement), size);
}

bool DataFile::write(int element, int subElement, const QByteArray& bytes)
{
    if (!holds(element, subElement, static_cast<int>(bytes.size())))
        return false;
    m_bytes.replace(offsetOf(element, subElement), bytes.size(), bytes);
    return true;
}

std::optional<quint16> DataFile::word(int element, int subElement) const
{
    const auto bytes = read(element, subElement, bytesPerWord);
    if (!bytes)
        return std::nullopt;
    return qFromLittleEndian<quint16>(bytes->constData());
}

bool DataFile::setWord(int element, int subElement, quint16 value)
{
    QByteArray bytes(bytesPerWord, '\0');
    qToLittleEndian(value, bytes.data());
    return write(element, subElement, bytes);
}

std::optional<float> DataFile::real(int element) const
{
    const auto bytes = read(element, 0, bytesPerUnit());
    if (m_type != FileType::Float || !bytes)
        return std::nullopt;
    const quint32 bits = qFromLittleEndian<quint32>(bytes->constData());
    float value;
    static_assert(sizeof value == sizeof bits);
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

bool DataFile::setReal(int element, float value)
{
    if (m_type != FileType::Float)
        return false;
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    QByteArray bytes(sizeof bits, '\0');
    qToLittleEndian(bits, bytes.data());
    return write(element, 0, bytes);
}

bool DataFile::operator==(const DataFile& other) const
{
    return m_type == other.m_type && m_bytes == other.m_bytes && m_protected == other.m_protected;
}

DataFile& DataTables::add(int number, FileType type, int elements)
{
    return m_files.insert_or_assign(number, DataFile(type, elements)).first->second;
}

const DataFile* DataTables::file(int number) const
{
    const auto found = m_files.find(number);
    return found == m_files.end() ? nullptr : &found->second;
}

DataFile* DataTables::file(int number)
{
    const auto found = m_files.find(number);
    return found == m_files.end() ? nullptr : &found->second;
}

}
