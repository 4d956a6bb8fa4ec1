#include "host/datafiles.h"

#include <QRegularExpression>

#include <algorithm>

#include "host/linecost.h"
#include "host/tagaddress.h"

namespace host {

namespace {

const int WORD_SIZE = 2;
const int THREE_WORDS = 3;
const int LAST_PREDEFINED = 8;
const char PREDEFINED[] = "OISBTCRNF";
const char CHOSEN_BY_PROGRAMS[] = "NBFTCR";

int wordsOf(char letter)
{
    return isThreeWordFile(letter) ? THREE_WORDS : 1;
}

/// Of what one command writes or reads of an element.
int valueSize(char letter)
{
    return letter == 'F' ? bytesPerElement(letter) : WORD_SIZE;
}

QString addressOf(const DataFileName& name, int element, int word)
{
    const bool isControl = name.letter == 'R';
    const char* const names[THREE_WORDS] = {"", isControl ? ".LEN" : ".PRE",
                                            isControl ? ".POS" : ".ACC"};
    return QStringLiteral("%1:%2%3").arg(name.text()).arg(element).arg(QLatin1String(names[word]));
}

/// Of @p count elements from @p element on, or of one word of each.
CommunicatorCommand commandFor(const DataFileName& name, int element, int word, int count)
{
    const int words = 2;
    const int doubleWords = 3;
    CommunicatorCommand command;
    command.type = name.letter == 'F' ? doubleWords : words;
    command.count = count;
    command.address = addressOf(name, element, word);
    return command;
}

bool hasElement(TableAccess& access, const DataFileName& name, int element)
{
    return access.read(commandFor(name, element, 0, 1)).has_value();
}

/// Whole elements of which @p words are the parts, each with a word of every element.
QByteArray joined(const std::vector<QByteArray>& words, int count)
{
    QByteArray elements;
    for (int i = 0; i < count; ++i) {
        for (const QByteArray& word : words)
            elements += word.mid(i * WORD_SIZE, WORD_SIZE);
    }
    return elements;
}

std::optional<QByteArray> readElements(TableAccess& access, const DataFileName& name, int element,
                                       int count)
{
    if (!isThreeWordFile(name.letter))
        return access.read(commandFor(name, element, 0, count));
    std::vector<QByteArray> words;
    for (int word = 0; word < THREE_WORDS; ++word) {
        const auto read = access.read(commandFor(name, element, word, count));
        if (!read)
            return std::nullopt;
        words.push_back(*read);
    }
    return joined(words, count);
}

/// How many of @p differences one command can write from @p first on.
int neighboursFrom(const std::vector<Difference>& differences, size_t first, int dataBytes)
{
    const Difference& begin = differences[first];
    const int size = valueSize(begin.file.letter);
    // The driver sends a command for each of these, and stops at the first refusal.
    const int most = isThreeWordFile(begin.file.letter) ? 1 : std::max(dataBytes / size, 1);
    int count = 1;
    while (count < most && first + static_cast<size_t>(count) < differences.size()) {
        const Difference& next = differences[first + static_cast<size_t>(count)];
        if (!(next.file == begin.file) || next.element != begin.element + count)
            break;
        ++count;
    }
    return count;
}

bool writeNeighbours(TableAccess& access, const std::vector<Difference>& differences, size_t first,
                     int count)
{
    const Difference& begin = differences[first];
    QByteArray data;
    for (int i = 0; i < count; ++i)
        data += differences[first + static_cast<size_t>(i)].wanted;
    return access.write(commandFor(begin.file, begin.element, begin.word, count), data);
}

}

QString DataFileName::text() const
{
    const QString text(QLatin1Char{letter});
    return letter == 'O' || letter == 'I' ? text : text + QString::number(number);
}

std::optional<DataFileName> parseDataFileName(const QString& text, QString* error)
{
    static const QRegularExpression pattern(
        QStringLiteral("^(?:(O)0?|(I)1?|([SBTCRNF])([0-9]{1,3}))\\z"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(text);
    const QString letter = (match.captured(1) + match.captured(2) + match.captured(3)).toUpper();
    const int number = match.captured(4).toInt();
    if (match.hasMatch() && number <= LAST_FILE)
        return DataFileName{letter.at(0).toLatin1(), letter == QLatin1String("I") ? 1 : number};
    *error = QStringLiteral("'%1' is no data file; give O, I, or one of S B T C R N F with a "
                            "number up to 254, such as N7")
                 .arg(text);
    return std::nullopt;
}

int DataFile::elements() const
{
    return static_cast<int>(bytes.size()) / bytesPerElement(name.letter);
}

int lengthOf(TableAccess& access, const DataFileName& name)
{
    if (!hasElement(access, name, 0))
        return 0;
    int present = 0;
    int missing = 1;
    while (missing < MOST_ELEMENTS && hasElement(access, name, missing)) {
        present = missing;
        missing = std::min(2 * missing + 1, MOST_ELEMENTS);
    }
    while (missing - present > 1) {
        const int middle = present + (missing - present) / 2;
        (hasElement(access, name, middle) ? present : missing) = middle;
    }
    return present + 1;
}

std::vector<FoundFile> findDataFiles(TableAccess& access, int last,
                                     const std::function<void(int number)>& looking)
{
    std::vector<FoundFile> found;
    for (int number = 0; number <= last; ++number) {
        looking(number);
        const bool isPredefined = number <= LAST_PREDEFINED;
        const QByteArray letters =
            isPredefined ? QByteArray(1, PREDEFINED[number]) : QByteArray(CHOSEN_BY_PROGRAMS);
        for (const char letter : letters) {
            const DataFileName name = {letter, number};
            const int elements = lengthOf(access, name);
            if (elements == 0)
                continue;
            found.push_back({name, elements});
            break;
        }
    }
    return found;
}

std::optional<QByteArray> readDataFile(TableAccess& access, const FoundFile& file, int& dataBytes,
                                       const std::function<void(int elements)>& done)
{
    const int size = bytesPerElement(file.name.letter);
    QByteArray bytes;
    for (int element = 0; element < file.elements;) {
        const int count = std::min(file.elements - element, std::max(dataBytes / size, 1));
        const auto read = readElements(access, file.name, element, count);
        if (read) {
            bytes += *read;
            element += count;
            done(count);
        } else if (count == 1) {
            return std::nullopt;
        } else {
            dataBytes = count / 2 * size;
        }
    }
    return bytes;
}

QString Difference::address() const
{
    return addressOf(file, element, word);
}

std::vector<Difference> differencesOf(const DataFile& now, const DataFile& wanted)
{
    const char letter = wanted.name.letter;
    const int size = valueSize(letter);
    const int values = std::min(now.elements(), wanted.elements()) * wordsOf(letter);
    std::vector<Difference> differences;
    for (int i = 0; i < values; ++i) {
        const Difference difference = {wanted.name, i / wordsOf(letter), i % wordsOf(letter),
                                       now.bytes.mid(i * size, size),
                                       wanted.bytes.mid(i * size, size)};
        if (difference.now != difference.wanted)
            differences.push_back(difference);
    }
    return differences;
}

std::vector<Difference> writeDifferences(TableAccess& access,
                                         const std::vector<Difference>& differences, int dataBytes,
                                         const std::function<void(int values)>& done)
{
    std::vector<Difference> refused;
    int bytes = dataBytes; // fewer after a refusal, more again after a success
    for (size_t first = 0; first < differences.size();) {
        const int count = neighboursFrom(differences, first, bytes);
        if (writeNeighbours(access, differences, first, count)) {
            bytes = std::min(2 * bytes, dataBytes);
        } else if (count > 1) {
            bytes = count / 2 * valueSize(differences[first].file.letter);
            continue;
        } else {
            refused.push_back(differences[first]);
        }
        first += static_cast<size_t>(count);
        done(count);
    }
    return refused;
}

}
