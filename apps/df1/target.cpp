#include "target.h"

#include "failure.h"
#include "host/values.h"

namespace {

template <typename Value>
Value required(const std::optional<Value>& value, const QString& error)
{
    if (!value)
        throw Failure(ExitCode::Usage, error);
    return *value;
}

}

host::TagAddress targetOf(const std::string& text)
{
    QString error;
    const auto address = host::TagAddress::parse(QString::fromStdString(text), &error);
    return required(address, error);
}

std::vector<host::ReadPiece> splitRead(const host::TagAddress& target, int count, int dataBytes)
{
    QString error;
    const auto pieces = host::splitRead(target, count, dataBytes, &error);
    return required(pieces, error);
}

std::vector<host::WritePiece> splitWrite(const host::TagAddress& target, const QByteArray& data,
                                         int dataBytes)
{
    QString error;
    const auto pieces = host::splitWrite(target, data, dataBytes, &error);
    return required(pieces, error);
}

std::vector<host::Tag> tagsIn(const std::string& fileName)
{
    QString error;
    const auto tags = host::loadTagList(QString::fromStdString(fileName), &error);
    return required(tags, error);
}

QByteArray dataOf(const host::TagAddress& target, const std::vector<std::string>& texts)
{
    QStringList list;
    for (const std::string& text : texts)
        list << QString::fromStdString(text);
    QString error;
    const auto data = host::dataOf(target, list, &error);
    return required(data, error);
}
