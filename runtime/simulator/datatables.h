// The controller's memory: its numbered data files.
//
// A file holds elements of one type. An element is one 16-bit word (O I S B N),
// three words (T C R: control word, PRE or LEN, ACC or POS, addressed as
// sub-elements 0 to 2) or one 32-bit float (F). Everything is little-endian, as
// on the wire (publication 1770-6.5.16, chapter 7).
//
// Plain values: copies are independent, nothing is locked. Every access checks
// its address and touches nothing when it lies outside the file.
#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <map>
#include <optional>

namespace simulator {

/// File types with the codes that requests carry.
enum class FileType : quint8
{
    Output = 0x82,
    Input = 0x83,
    Status = 0x84,
    Bit = 0x85,
    Timer = 0x86,
    Counter = 0x87,
    Control = 0x88,
    Integer = 0x89,
    Float = 0x8A,
};

/// The type with code @p code; nothing for a code the controller does not know.
std::optional<FileType> fileTypeOf(quint8 code);
/// The letter that addresses begin with, one of O I S B T C R N F.
char fileLetter(FileType type);
/// The type with this letter, in upper case; nothing for any other character.
std::optional<FileType> fileTypeWith(char letter);

class DataFile
{
public:
    /// All zeros. @p elements is 0 or more.
    DataFile(FileType type, int elements);

    FileType type() const { return m_type; }
    int elements() const { return m_elements; }
    /// 2, 4 or 6.
    int bytesPerElement() const;
    /// The smallest piece that can be read or written: 4 bytes of F, else 2.
    int bytesPerUnit() const;
    /// Whether the file has the element, and its type the sub-element (0 to 2
    /// for T, C and R, else only 0).
    bool has(int element, int subElement) const;
    /// Whether it has them and @p size bytes from there on.
    bool holds(int element, int subElement, int size) const;

    /// Whether requests may not write here. The simulator's owner still can; reads
    /// are unaffected.
    bool isProtected() const { return m_protected; }
    void setProtected(bool on) { m_protected = on; }

    /// @p size bytes from the sub-element's first byte on, running through the
    /// following elements; nothing when any of them lies outside the file.
    std::optional<QByteArray> read(int element, int subElement, int size) const;
    /// Writes at the same places; false, and nothing is written, when any of the
    /// bytes would lie outside the file.
    bool write(int element, int subElement, const QByteArray& bytes);

    /// One word. Of an F element this is the low half; real() has the value.
    std::optional<quint16> word(int element, int subElement = 0) const;
    bool setWord(int element, int subElement, quint16 value);

    /// The value of an F element; nothing, or false, for other types.
    std::optional<float> real(int element) const;
    bool setReal(int element, float value);

    /// Same type, same length, same bytes and same protection.
    bool operator==(const DataFile& other) const;
    bool operator!=(const DataFile& other) const { return !(*this == other); }

private:
    int offsetOf(int element, int subElement) const;

    FileType m_type;
    int m_elements;
    QByteArray m_bytes;
    bool m_protected = false;
};

class DataTables
{
public:
    /// Adds a file of zeros in place of any with the same number. The reference,
    /// like the pointers of file(), is good for as long as the file is there.
    DataFile& add(int number, FileType type, int elements);
    /// Null when there is no such file.
    const DataFile* file(int number) const;
    DataFile* file(int number);
    const std::map<int, DataFile>& files() const { return m_files; }

    /// Same file numbers, same files.
    bool operator==(const DataTables& other) const { return m_files == other.m_files; }
    bool operator!=(const DataTables& other) const { return !(*this == other); }

private:
    std::map<int, DataFile> m_files;
};

}
