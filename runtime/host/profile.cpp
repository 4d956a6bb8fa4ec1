#include "host/profile.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>

#include "host/linesettings.h"
#include "host/tagaddress.h"

namespace host {

namespace {

/// A number that a link may have, and where it goes.
struct NumberKey
{
    const char* name;
    int least;
    int most;
    std::optional<int> LinkProfile::*field;
};

const NumberKey NUMBER_KEYS[] = {
    {"station", 0, 254, &LinkProfile::station},
    {"self", 0, 254, &LinkProfile::self},
    {"timeout", 1, 600000, &LinkProfile::timeoutMs},
    {"retry", 0, 1000, &LinkProfile::retry},
    {"delay", 0, 600000, &LinkProfile::delayMs},
    {"limit", 6, MOST_DATA_BYTES, &LinkProfile::limit},
};

/// In one line, whatever names and values from the file the text repeats.
bool fail(QString* error, const QString& place, const QString& text)
{
    *error = place + QStringLiteral(": ") + text;
    error->replace(QLatin1Char('\n'), QLatin1Char(' '));
    return false;
}

bool takeText(const QJsonValue& value, const QString& place, QString* field, QString* error)
{
    *field = value.toString();
    return !field->isEmpty() || fail(error, place, QStringLiteral("must be a text"));
}

bool takeLine(const QJsonValue& value, const QString& place, LinkProfile* link, QString* error)
{
    QString line;
    QString reason;
    if (!takeText(value, place, &line, error))
        return false;
    if (!LineSettings::parse(line, &reason))
        return fail(error, place, reason);
    link->line = line;
    return true;
}

bool takeNumber(const QJsonValue& value, const QString& place, const NumberKey& key,
                LinkProfile* link, QString* error)
{
    const double number = value.toDouble(-1);
    if (number < key.least || number > key.most
        || number != static_cast<double>(static_cast<int>(number)))
        return fail(
            error, place,
            QStringLiteral("must be a whole number from %1 to %2").arg(key.least).arg(key.most));
    link->*key.field = static_cast<int>(number);
    return true;
}

bool takeKey(const QString& key, const QJsonValue& value, const QString& place, LinkProfile* link,
             QString* error)
{
    if (key == QLatin1String("port"))
        return takeText(value, place, &link->port, error);
    if (key == QLatin1String("line"))
        return takeLine(value, place, link, error);
    QStringList known = {QStringLiteral("port"), QStringLiteral("line")};
    for (const NumberKey& numberKey : NUMBER_KEYS) {
        if (key == QLatin1String(numberKey.name))
            return takeNumber(value, place, numberKey, link, error);
        known << QLatin1String(numberKey.name);
    }
    return fail(error, place,
                QStringLiteral("unknown key; there are %1").arg(known.join(QStringLiteral(", "))));
}

bool takeLink(const QString& name, const QJsonValue& value, LinkProfile* link, QString* error)
{
    if (!isLinkName(name))
        return fail(error, name,
                    QStringLiteral("a link is called by a letter, then letters, digits, - and _, "
                                   "and not as a data file is, such as N7"));
    if (!value.isObject())
        return fail(error, name, QStringLiteral("must be an object such as { \"port\": \"...\" }"));
    const QJsonObject keys = value.toObject();
    for (const QString& key : keys.keys()) {
        if (!takeKey(key, keys.value(key), name + QLatin1Char('.') + key, link, error))
            return false;
    }
    return !link->port.isEmpty()
           || fail(error, name,
                   QStringLiteral("its port is missing, such as \"port\": \"/dev/ttyUSB0\""));
}

QString placeOf(const QByteArray& json, int offset)
{
    const QByteArray before = json.left(offset);
    return QStringLiteral("line %1, column %2")
        .arg(before.count('\n') + 1)
        .arg(before.size() - before.lastIndexOf('\n'));
}

}

bool isLinkName(const QString& text)
{
    static const QRegularExpression name(QStringLiteral("^[A-Za-z][A-Za-z0-9_-]*\\z"));
    static const QRegularExpression dataFile(QStringLiteral("^[OISBTCRNFoisbtcrnf][0-9]*\\z"));
    return name.match(text).hasMatch() && !dataFile.match(text).hasMatch();
}

QString defaultProfileFile()
{
    const QString file = QStringLiteral("micrologix/links.json");
    const auto folders = QStandardPaths::GenericConfigLocation;
    const QString found = QStandardPaths::locate(folders, file);
    return found.isEmpty() ? QStandardPaths::writableLocation(folders) + QLatin1Char('/') + file
                           : found;
}

std::optional<LinkProfiles> parseProfiles(const QByteArray& json, QString* error)
{
    QJsonParseError fault;
    const QJsonDocument document = QJsonDocument::fromJson(json, &fault);
    if (fault.error != QJsonParseError::NoError) {
        fail(error, placeOf(json, fault.offset),
             QStringLiteral("no JSON: %1").arg(fault.errorString()));
        return std::nullopt;
    }
    if (!document.isObject()) {
        *error = QStringLiteral("must hold one object: { \"press4\": { \"port\": \"...\" } }");
        return std::nullopt;
    }
    const QJsonObject named = document.object();
    LinkProfiles links;
    for (const QString& name : named.keys()) {
        if (!takeLink(name, named.value(name), &links[name], error))
            return std::nullopt;
    }
    return links;
}

std::optional<LinkProfiles> loadProfiles(const QString& fileName, QString* error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(error, fileName, file.errorString());
        return std::nullopt;
    }
    auto links = parseProfiles(file.readAll(), error);
    if (!links)
        fail(error, fileName, QString(*error));
    return links;
}

QString namesOf(const LinkProfiles& links)
{
    QStringList names;
    for (const auto& [name, link] : links)
        names << name;
    return names.isEmpty() ? QStringLiteral("none") : names.join(QStringLiteral(", "));
}

}
