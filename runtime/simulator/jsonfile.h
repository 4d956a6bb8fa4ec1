// What the simulator's JSON files share: reading them, and saying what is wrong.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <optional>
#include <stdexcept>

namespace simulator {

/// What is wrong with a value; thrown and caught inside the parsers.
class JsonFault : public std::runtime_error
{
public:
    /// "path: text" in one line, whatever a name in it holds; an empty path stands for
    /// the whole.
    JsonFault(const QString& path, const QString& text)
        : std::runtime_error(
            (path.isEmpty() ? text : QString("%1: %2").arg(path, text)).simplified().toStdString())
    {}
    QString text() const { return QString::fromStdString(what()); }
};

/// The one object that @p json holds. Throws JsonFault with line and column.
QJsonObject jsonObject(const QByteArray& json);
/// Throws JsonFault when the object has a property that is not in @p names.
void requireKnown(const QJsonObject& object, const QString& path, const QStringList& names);
/// A whole number from @p low to @p high, or JsonFault.
int jsonNumber(const QJsonValue& value, const QString& path, int low, int high);

/// The bytes of a file; nothing, with the reason in @p error, when it can't be read.
std::optional<QByteArray> fileBytes(const QString& path, QString* error);

}
