#include "simulator/tablesfile.h"

#include "simulator/elementbits.h"
#include "simulator/jsonfile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QtEndian>
#include <charconv>
#include <cmath>

namespace simulator {

namespace {

constexpr int wordLow = -32768;
constexpr int wordHigh = 65535;
constexpr int mostElements = 4096;

struct NamedBit
{
    const char* name;
    quint16 bit;
};

// How an object of an element type names its two words and its bits.
struct ElementNames
{
    const char* preset;
    const char* accumulated;
    std::vector<NamedBit> bits;
};

const ElementNames& namesOf(FileType type)
{
    static const ElementNames timerNames = {
        "pre", "acc", {{"en", timer::EN}, {"tt", timer::TT}, {"dn", timer::DN}}};
    static const ElementNames counterNames = {"pre",
                                              "acc",
                                              {{"cu", counter::CU},
                                               {"cd", counter::CD},
                                               {"dn", counter::DN},
                                               {"ov", counter::OV},
                                               {"un", counter::UN}}};
    static const ElementNames controlNames = {"len",
                                              "pos",
                                              {{"en", control::EN},
                                               {"eu", control::EU},
                                               {"dn", control::DN},
                                               {"em", control::EM},
                                               {"er", control::ER},
                                               {"ul", control::UL},
                                               {"in", control::IN},
                                               {"fd", control::FD}}};
    if (type == FileType::Timer)
        return timerNames;
    return type == FileType::Counter ? counterNames : controlNames;
}

quint16 wordAt(const QJsonValue& value, const QString& path)
{
    return static_cast<quint16>(jsonNumber(value, path, wordLow, wordHigh));
}

quint16 baseBit(const QJsonValue& value, const QString& path)
{
    if (value.toString() != "1s" && value.toString() != "10ms")
        throw JsonFault(path, "must be \"10ms\" or \"1s\"");
    return value.toString() == "1s" ? timer::SecondBase : 0;
}

void setNamed(DataFile& file, int element, const QJsonObject& object, const QString& path)
{
    const ElementNames& names = namesOf(file.type());
    QStringList known = {names.preset, names.accumulated};
    for (const NamedBit& named : names.bits)
        known << named.name;
    if (file.type() == FileType::Timer)
        known << "base";
    requireKnown(object, path, known);

    int word = object.contains("base") ? baseBit(object["base"], path + ".base") : 0;
    for (const auto& [name, bit] : names.bits) {
        const QJsonValue value = object[name];
        if (!value.isUndefined() && !value.isBool())
            throw JsonFault(path + '.' + name, "must be true or false");
        word |= value.toBool() ? bit : 0;
    }
    file.setWord(element, 0, static_cast<quint16>(word));
    int subElement = 1;
    for (const QString& name : {QString(names.preset), QString(names.accumulated)})
        file.setWord(element, subElement++,
                     object.contains(name) ? wordAt(object[name], path + '.' + name) : 0);
}

void setWords(DataFile& file, int element, const QJsonArray& words, const QString& path)
{
    if (words.size() != 3)
        throw JsonFault(path, "must have three words: control, PRE or LEN, ACC or POS");
    for (int i = 0; i < 3; ++i)
        file.setWord(element, i, wordAt(words[i], QString("%1[%2]").arg(path).arg(i)));
}

void setFloat(DataFile& file, int element, const QJsonValue& value, const QString& path)
{
    static const QRegularExpression bits("^0x([0-9A-Fa-f]{8})\\z");
    const QRegularExpressionMatch match = bits.match(value.toString());
    if (match.hasMatch()) {
        QByteArray bytes(4, '\0');
        qToLittleEndian(match.captured(1).toUInt(nullptr, 16), bytes.data());
        file.write(element, 0, bytes);
    } else if (value.isDouble()) {
        file.setReal(element, static_cast<float>(value.toDouble()));
    } else {
        throw JsonFault(path, "must be a number, or 32 bits such as \"0x7FC00000\"");
    }
}

void setElement(DataFile& file, int element, const QJsonValue& value, const QString& path)
{
    if (file.type() == FileType::Float) {
        setFloat(file, element, value, path);
    } else if (file.bytesPerElement() == 2) {
        file.setWord(element, 0, wordAt(value, path));
    } else if (value.isArray()) {
        setWords(file, element, value.toArray(), path);
    } else if (value.isObject()) {
        setNamed(file, element, value.toObject(), path);
    } else {
        throw JsonFault(path, "must be an array of three words or an object of named ones");
    }
}

FileType fileTypeAt(const QJsonValue& value, const QString& path)
{
    const QString letter = value.toString();
    const auto type = letter.size() == 1 ? fileTypeWith(letter.at(0).toLatin1()) : std::nullopt;
    if (!type)
        throw JsonFault(path, "must be one of \"O\" \"I\" \"S\" \"B\" \"T\" \"C\" \"R\" "
                              "\"N\" \"F\"");
    return *type;
}

bool flagAt(const QJsonObject& object, const QString& name, const QString& path)
{
    if (object.contains(name) && !object[name].isBool())
        throw JsonFault(path + '.' + name, "must be true or false");
    return object[name].toBool();
}

void addFile(Description& description, const QJsonValue& value, const QString& path)
{
    constexpr int lengthOfCounters = 19;
    DataTables& tables = description.tables;
    if (!value.isObject())
        throw JsonFault(path, "must be an object with \"number\" and \"type\"");
    const QJsonObject object = value.toObject();
    requireKnown(object, path, {"number", "type", "length", "values", "protected", "counters"});
    const int number = jsonNumber(object["number"], path + ".number", 0, 255);
    if (tables.file(number))
        throw JsonFault(path + ".number", QString("file %1 is there twice").arg(number));
    const FileType type = fileTypeAt(object["type"], path + ".type");
    if (object.contains("values") && !object["values"].isArray())
        throw JsonFault(path + ".values", "must be an array");
    const QJsonArray values = object["values"].toArray();
    const int given = static_cast<int>(values.size());
    const int length = object.contains("length")
                           ? jsonNumber(object["length"], path + ".length", 1, mostElements)
                           : given;
    if (length < 1 || length > mostElements)
        throw JsonFault(path, QString("needs a \"length\" or 1 to %1 values").arg(mostElements));
    if (given > length)
        throw JsonFault(
            path + ".values",
            QString("has %1 values, more than the length of %2").arg(given).arg(length));
    DataFile& file = tables.add(number, type, length);
    for (int element = 0; element < given; ++element)
        setElement(file, element, values[element], QString("%1.values[%2]").arg(path).arg(element));
    file.setProtected(flagAt(object, "protected", path));
    if (!flagAt(object, "counters", path))
        return;
    if (type != FileType::Integer || length < lengthOfCounters || description.model.countersFile)
        throw JsonFault(path + ".counters",
                        QString("is for one N file of %1 elements or more").arg(lengthOfCounters));
    description.model.countersFile = number;
}

QString textAt(const QJsonObject& object, const QString& name)
{
    if (!object[name].isString())
        throw JsonFault(name, "must be a text");
    return object[name].toString();
}

Model modelIn(const QJsonObject& object)
{
    Model model = defaultModel();
    if (object.contains("model")) {
        QString error;
        const Model* known = modelOf(textAt(object, "model"), &error);
        if (!known)
            throw JsonFault("model", error);
        model = *known;
    }
    if (object.contains("catalogue")) {
        const QString name = textAt(object, "catalogue");
        if (name.isEmpty() || name.size() > 11)
            throw JsonFault("catalogue", "must have 1 to 11 characters");
        model.catalogueNumber = name.toLatin1();
    }
    if (object.contains("series")) {
        const QString series = textAt(object, "series");
        if (series.size() != 1 || series < "A" || series > "H")
            throw JsonFault("series", "must be a letter from A to H");
        model.series = series.at(0).toLatin1();
    }
    return model;
}

void setMode(DataTables& tables, const QString& name)
{
    const std::pair<const char*, ProcessorMode> modes[] = {
        {"program", ProcessorMode::RemoteProgram},
        {"run", ProcessorMode::Run},
        {"test", ProcessorMode::TestContinuous},
        {"single", ProcessorMode::TestSingleScan},
    };
    for (const auto& [known, mode] : modes) {
        if (name == known) {
            setProcessorMode(tables, mode);
            return;
        }
    }
    throw JsonFault("mode", "must be program, run, test or single");
}

Description describe(const QJsonObject& object, quint32 seed)
{
    requireKnown(object, QString(), {"model", "catalogue", "series", "mode", "files", "note"});
    Description description = {modelIn(object), {}};
    if (!object.contains("files")) {
        description.tables = seededTables(seed, description.model);
    } else {
        if (!object["files"].isArray())
            throw JsonFault("files", "must be an array of files");
        const QJsonArray files = object["files"].toArray();
        for (int i = 0; i < files.size(); ++i)
            addFile(description, files[i], QString("files[%1]").arg(i));
    }
    if (object.contains("mode"))
        setMode(description.tables, textAt(object, "mode"));
    return description;
}

// The fewest digits that give the same float back; as bits what JSON has no number for,
// or Qt's reader of it.
QJsonValue floatValue(const DataFile& file, int element)
{
    const float value = *file.real(element);
    const bool isMinusZero = value == 0 && std::signbit(value);
    if (!std::isfinite(value) || isMinusZero) {
        const auto bits = qFromLittleEndian<quint32>(file.read(element, 0, 4)->constData());
        return QString("0x%1").arg(bits, 8, 16, QLatin1Char('0'));
    }
    char digits[32];
    const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    const double rounded = QByteArray(digits, static_cast<int>(end - digits)).toDouble();
    return static_cast<float>(rounded) == value ? rounded : static_cast<double>(value);
}

QJsonValue elementValue(const DataFile& file, int element)
{
    if (file.type() == FileType::Float)
        return floatValue(file, element);
    const auto word = [&](int subElement) {
        return QJsonValue(static_cast<qint16>(*file.word(element, subElement)));
    };
    return file.bytesPerElement() == 2 ? word(0) : QJsonArray{word(0), word(1), word(2)};
}

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

}

std::optional<Description> parseTables(const QByteArray& json, quint32 seed, QString* error)
{
    try {
        return describe(jsonObject(json), seed);
    } catch (const JsonFault& fault) {
        *error = fault.text();
        return std::nullopt;
    }
}

std::optional<Description> loadTables(const QString& path, quint32 seed, QString* error)
{
    const auto json = fileBytes(path, error);
    if (!json)
        return std::nullopt;
    auto description = parseTables(*json, seed, error);
    if (!description)
        *error = QString("%1: %2").arg(path, *error);
    return description;
}

QByteArray tablesText(const DataTables& tables, const QJsonObject& head)
{
    QByteArrayList files;
    for (const auto& [number, file] : tables.files()) {
        QJsonArray values;
        for (int element = 0; element < file.elements(); ++element)
            values << elementValue(file, element);
        QJsonObject object = {{"number", number},
                              {"type", QString(QLatin1Char(fileLetter(file.type())))},
                              {"values", values}};
        if (file.isProtected())
            object["protected"] = true;
        files << compact(object);
    }
    QByteArray text = "{\n";
    for (auto it = head.begin(); it != head.end(); ++it)
        text += "  " + compact({{it.key(), it.value()}}).chopped(1).mid(1) + ",\n";
    return text + "  \"files\": [\n    " + files.join(",\n    ") + "\n  ]\n}\n";
}

}
