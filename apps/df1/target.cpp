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

CommunicatorCommand readRequest(const host::TagAddress& target, int count)
{
    QString error;
    const auto command = target.readRequest(count, &error);
    return required(command, error);
}

CommunicatorCommand writeRequest(const host::TagAddress& target, int count)
{
    QString error;
    const auto command = target.writeRequest(count, &error);
    return required(command, error);
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
