#include "support/operations.h"

#include <iterator>

#include "support/requests.h"

namespace support {

using simulator::DataFile;
using simulator::DataTables;
using simulator::FileType;

namespace {

const int BIT = 0;
const int WORD = 2;
const int DOUBLE_WORD = 3;
const int WORD_SIZE = 2;

char letterOf(FileType type)
{
    return "OISBTCRNF"[static_cast<int>(type) - static_cast<int>(FileType::Output)];
}

/// One for each word or float.
std::vector<Operation> unitsOf(const Operation& operation, int unitSize)
{
    if (operation.bit >= 0)
        return {operation};
    std::vector<Operation> units;
    for (int at = 0; at < operation.data.size(); at += unitSize) {
        units.push_back(operation);
        units.back().element += at / unitSize;
        units.back().data = operation.data.mid(at, unitSize);
    }
    return units;
}

}

Operation randomOperation(const DataTables& tables, std::mt19937& random)
{
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    const auto& files = tables.files();
    auto chosen = files.begin();
    std::advance(chosen, below(static_cast<int>(files.size())));
    const DataFile& file = chosen->second;
    const bool hasThreeWords = file.bytesPerElement() == 6;
    const bool isFloat = file.type() == FileType::Float;

    Operation operation;
    operation.file = chosen->first;
    const int elements = 1 + below(qMin(4, file.elements()));
    operation.element = below(file.elements() - elements + 1);
    const QString element = QStringLiteral("%1%2:%3")
                                .arg(QLatin1Char(letterOf(file.type())))
                                .arg(operation.file)
                                .arg(operation.element);
    QString name;
    if (hasThreeWords) {
        static const char* const names[] = {"", ".PRE", ".ACC", "", ".LEN", ".POS"};
        operation.subElement = below(3);
        const int first = file.type() == FileType::Control ? 3 : 0;
        name = QLatin1String(names[first + operation.subElement]);
        operation.isEach = true;
    }
    if (!isFloat && below(3) == 0) {
        operation.bit = below(16 * elements);
        operation.data = QByteArray(1, below(2) != 0 ? '\x01' : '\0');
        operation.request =
            request(BIT, 1, element + name + QLatin1Char('/') + QString::number(operation.bit));
        return operation;
    }
    for (int i = 0; i < elements * (isFloat ? 4 : 2); ++i)
        operation.data.append(static_cast<char>(below(3) == 0 ? 0x10 : below(256)));
    operation.request = request(isFloat ? DOUBLE_WORD : WORD, elements, element + name);
    return operation;
}

bool applyTo(DataTables& tables, const Operation& operation)
{
    DataFile* const file = tables.file(operation.file);
    if (!file)
        return false;
    if (operation.bit >= 0) {
        const quint16 mask = static_cast<quint16>(1U << (operation.bit % 16));
        const int element = operation.element + operation.bit / 16;
        const quint16 word = file->word(element, operation.subElement).value_or(0);
        return file->setWord(element, operation.subElement,
                             operation.data.at(0) != 0 ? word | mask : word & ~mask);
    }
    if (!operation.isEach)
        return file->write(operation.element, 0, operation.data);
    for (int i = 0; WORD_SIZE * i < operation.data.size(); ++i) {
        if (!file->write(operation.element + i, operation.subElement,
                         operation.data.mid(WORD_SIZE * i, WORD_SIZE)))
            return false;
    }
    return true;
}

QByteArray readFrom(const DataTables& tables, const Operation& operation)
{
    const DataFile* const file = tables.file(operation.file);
    if (!file)
        return QByteArray();
    if (operation.bit >= 0) {
        const auto word = file->word(operation.element + operation.bit / 16, operation.subElement);
        return word ? QByteArray(1, static_cast<char>(*word >> (operation.bit % 16) & 1))
                    : QByteArray();
    }
    const int size = static_cast<int>(operation.data.size());
    if (!operation.isEach)
        return file->read(operation.element, 0, size).value_or(QByteArray());
    QByteArray words;
    for (int i = 0; WORD_SIZE * i < size; ++i)
        words += file->read(operation.element + i, operation.subElement, WORD_SIZE)
                     .value_or(QByteArray());
    return words;
}

QByteArray asData(const QByteArray& read, const Operation& operation)
{
    if (operation.bit < 0 || read.isEmpty())
        return read;
    return QByteArray(1, static_cast<char>(read.at(0) & 1));
}

bool canComeOf(const Operation& operation, const DataTables& before, const DataTables& after,
               bool isWhole)
{
    const DataFile* const file = before.file(operation.file);
    DataTables expected = before;
    for (const Operation& unit : unitsOf(operation, file ? file->bytesPerUnit() : WORD_SIZE)) {
        if (isWhole || readFrom(after, unit) == unit.data)
            applyTo(expected, unit);
    }
    return after == expected;
}

}
