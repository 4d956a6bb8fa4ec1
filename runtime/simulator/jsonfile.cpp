#include "simulator/jsonfile.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>

namespace simulator {

QJsonObject jsonObject(const QByteArray& json)
{
    QJsonParseError wrong;
    const QJsonDocument document = QJsonDocument::fromJson(json, &wrong);
    if (wrong.error != QJsonParseError::NoError) {
        const QByteArray before = json.left(wrong.offset);
        const auto column = before.size() - before.lastIndexOf('\n');
        throw JsonFault(QString(), QString("line %1, column %2: no JSON: %3")
                                       .arg(before.count('\n') + 1)
                                       .arg(column)
                                       .arg(wrong.errorString()));
    }
    if (!document.isObject())
        throw JsonFault(QString(), "the file must hold one object: { ... }");
    return document.object();
}

void requireKnown(const QJsonObject& object, const QString& path, const QStringList& names)
{
    for (const QString& key : object.keys()) {
        if (!names.contains(key))
            throw JsonFault(
                path, QString("unknown property \"%1\"; there are %2").arg(key, names.join(", ")));
    }
}

int jsonNumber(const QJsonValue& value, const QString& path, int low, int high)
{
    const double number = value.toDouble();
    if (!value.isDouble() || number < low || number > high
        || number != static_cast<double>(static_cast<int>(number)))
        throw JsonFault(path, QString("must be a whole number from %1 to %2").arg(low).arg(high));
    return static_cast<int>(number);
}

std::optional<QByteArray> fileBytes(const QString& path, QString* error)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        return file.readAll();
    *error = QString("%1: %2").arg(path, file.errorString());
    return std::nullopt;
}

}
