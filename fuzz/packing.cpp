// Formats of any letters and counts: what is packed comes back, in as many bytes as the
// format says, and a format error is told as one.
#include "harness.h"

#include "drivers/tools/packing.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

const int MOST_FIELDS = 8;
const int MOST_COUNT = 16;
const int MOST_BYTES = MOST_FIELDS * MOST_COUNT * 4;

struct Field
{
    QByteArray text;
    char letter = 0;
    int count = 1;
    bool isArray = false; ///< of elements; a counted gap is none
};

int widthOf(char letter)
{
    const char* const widths[] = {"CcxX", "Ssvn", "IiLlVN"};
    const int sizes[] = {1, 2, 4};
    for (int i = 0; i < 3; ++i) {
        if (letter != 0 && std::strchr(widths[i], letter) != nullptr)
            return sizes[i];
    }
    return 0;
}

bool isGap(char letter)
{
    return letter == 'x' || letter == 'X';
}

/// Fields that a format may have, then whatever the input holds as one text.
struct Format
{
    std::vector<Field> fields; ///< the sound ones
    QByteArray text;
    int error = 0; ///< what DataPack gives for what follows them; 1: there is nothing

    int size() const
    {
        int bytes = 0;
        for (const Field& field : fields)
            bytes += field.count * widthOf(field.letter);
        return bytes;
    }
    bool countsGaps() const
    {
        return std::any_of(fields.begin(), fields.end(), [](const Field& field) {
            return isGap(field.letter) && field.text.size() > 1;
        });
    }
};

Format formatIn(Input& input)
{
    static const char letters[] = "CcSsvnIiLlVNxX";
    Format format;
    const int count = input.below(MOST_FIELDS + 1);
    for (int i = 0; i < count; ++i) {
        Field field;
        field.letter = letters[input.below(14)];
        const int times = input.below(2 * MOST_COUNT);
        const bool takesCount = std::strchr("CcvnVNxX", field.letter) != nullptr;
        if (times > 0 && times <= MOST_COUNT && takesCount) {
            field.count = times;
            field.isArray = !isGap(field.letter);
            field.text = QByteArray::number(times);
        }
        field.text += field.letter;
        format.text += field.text;
        format.fields.push_back(field);
    }
    // Errors of both kinds; what follows them must not be reached.
    static const struct
    {
        const char* text;
        int result;
    } ends[] = {{"", 1},    {"qC", 0}, {"\x80", 0},          {"3SC", -1},
                {"0C", -1}, {"7", -1}, {"99999999999C", -1}, {"2LC", -1}};
    const auto& end = ends[input.below(8)];
    format.text += end.text;
    format.error = end.result;
    return format;
}

// Every argument as wide as a register: a number's low half is what an int is taken
// from, on all the machines that this is built for.
using Arguments = std::uintptr_t[MOST_FIELDS + 1];

int packed(unsigned char* buffer, const QByteArray& format, const Arguments& a)
{
    return DataPack(buffer, format.constData(), a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
}

QByteArray packed(const QByteArray& format, const Arguments& a)
{
    return ByteArrayPack(format.constData(), a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
}

int unpacked(const unsigned char* buffer, const QByteArray& format, const Arguments& a)
{
    return DataUnpack(buffer, format.constData(), a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
}

/// The field's bytes in a message, from elements in host order.
QByteArray packedField(const Field& field, const unsigned char* elements)
{
    const int width = widthOf(field.letter);
    const bool highByteFirst = field.letter == 'n' || field.letter == 'N';
    QByteArray bytes;
    for (int i = 0; i < field.count; ++i) {
        QByteArray element(width, '\0');
        if (!isGap(field.letter))
            std::copy_n(elements + i * width, width, element.begin());
        if (highByteFirst)
            std::reverse(element.begin(), element.end());
        bytes += element;
    }
    return bytes;
}

/// The elements of one field, in host order.
struct Values
{
    alignas(4) unsigned char bytes[MOST_COUNT * 4] = {};
};

bool isLittleEndianHost()
{
    const quint16 one = 1;
    return *reinterpret_cast<const unsigned char*>(&one) == 1;
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (!isLittleEndianHost())
        return 0;
    Input input(data, size);
    const Format format = formatIn(input);

    Values values[MOST_FIELDS];
    Values results[MOST_FIELDS];
    Arguments given = {};
    Arguments taken = {};
    int arguments = 0;
    QByteArray expected;
    for (size_t i = 0; i < format.fields.size(); ++i) {
        const Field& field = format.fields[i];
        if (isGap(field.letter)) {
            expected += packedField(field, nullptr);
            continue;
        }
        const QByteArray bytes = input.bytes(field.count * widthOf(field.letter));
        std::copy(bytes.begin(), bytes.end(), values[i].bytes);
        expected += packedField(field, values[i].bytes);
        quint32 number = 0;
        std::memcpy(&number, values[i].bytes, sizeof number);
        given[arguments] =
            field.isArray ? reinterpret_cast<std::uintptr_t>(values[i].bytes) : number;
        taken[arguments++] = reinterpret_cast<std::uintptr_t>(results[i].bytes);
    }

    QByteArray whole(MOST_BYTES, '\0');
    auto* const buffer = reinterpret_cast<unsigned char*>(whole.data());
    REQUIRE(packed(buffer, format.text, given)
            == (format.error == 1 ? format.size() : format.error));
    REQUIRE(whole == expected + QByteArray(MOST_BYTES - format.size(), '\0'));
    const bool isSound = format.error == 1 && !format.countsGaps();
    REQUIRE(packed(format.text, given) == whole.left(isSound ? format.size() : 0));

    const ExactBytes exact(whole.left(format.size()));
    REQUIRE(unpacked(exact.get(), format.text, taken) == (format.error == 1 ? format.size() : -1));
    for (size_t i = 0; i < format.fields.size(); ++i) {
        const Field& field = format.fields[i];
        if (!isGap(field.letter))
            REQUIRE(std::memcmp(values[i].bytes, results[i].bytes,
                                static_cast<size_t>(field.count * widthOf(field.letter)))
                    == 0);
    }
    return 0;
}
