// What goes through Qt's message handler, kept for a test to look at.
#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

namespace support {

/// Messages since the last KeptMessages was made: the type's number, a blank, the text.
inline QStringList& keptMessages()
{
    static QStringList messages;
    return messages;
}

#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
inline void keepMessage(QtMsgType type, const char* text)
{
    keptMessages() << QString::number(type) + QLatin1Char(' ') + QString::fromLocal8Bit(text);
}
typedef QtMsgHandler MessageHandler;
inline MessageHandler installMessageHandler(MessageHandler handler)
{
    return qInstallMsgHandler(handler);
}
#else
inline void keepMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    keptMessages() << QString::number(type) + QLatin1Char(' ') + text;
}
typedef QtMessageHandler MessageHandler;
inline MessageHandler installMessageHandler(MessageHandler handler)
{
    return qInstallMessageHandler(handler);
}
#endif

}

/// Keeps messages, in place of showing them, as long as it lives.
class KeptMessages
{
public:
    KeptMessages()
        : m_former(support::installMessageHandler(support::keepMessage))
    {
        support::keptMessages().clear();
    }
    ~KeptMessages() { support::installMessageHandler(m_former); }

    QStringList list() const { return support::keptMessages(); }

private:
    Q_DISABLE_COPY(KeptMessages)
    support::MessageHandler m_former;
};
