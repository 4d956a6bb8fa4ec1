// Parts of the documentation that tests write: what stands between the lines
// <!-- begin NAME --> and <!-- end NAME -->.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

namespace support {

/// Compares the part with @p text, and replaces it first when the environment has
/// MLX_WRITE_DOCS. Empty when it is the same, else one line that says what to do.
inline QString faultOfSection(const QString& fileName, const QByteArray& name,
                              const QByteArray& text)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return fileName + ": " + file.errorString();
    QByteArray document = file.readAll();
    file.close();
    const QByteArray begin = "<!-- begin " + name + " -->\n";
    const auto start = document.indexOf(begin) + begin.size();
    const auto end = document.indexOf("<!-- end " + name + " -->", start);
    if (start < begin.size() || end < 0)
        return QString("%1 has no section '%2'").arg(fileName, QString(name));
    if (document.mid(start, end - start) == text)
        return QString();
    if (!qEnvironmentVariableIsSet("MLX_WRITE_DOCS"))
        return QString("section '%1' of %2 is out of date; set MLX_WRITE_DOCS=1 and run this "
                       "test again, then look at what has changed")
            .arg(QString(name), fileName);
    document.replace(start, end - start, text);
    if (!file.open(QIODevice::WriteOnly) || file.write(document) != document.size())
        return fileName + ": " + file.errorString();
    return QString();
}

}
