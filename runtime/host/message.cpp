#include "host/message.h"

#include <QtEndian>

#include "host/wording.h"

namespace host {

namespace {

const int HEADER_SIZE = 6;
const quint8 REPLY = 0x40;
const quint8 EXTENDED_STATUS = 0xF0;
const quint8 WIDE_NUMBER = 0xFF;

/// How the fields behind a function code stand.
enum class Form
{
    Data,        ///< nothing is known of them
    Typed2,      ///< size, file, type, element
    Typed3,      ///< the same and a sub-element
    Masked,      ///< the same and a mask
    WordRange,   ///< offset and total in words, level address
    WordRead,    ///< the same and a size
    ModifyWords, ///< groups of level address, AND mask, OR mask
};

struct Command
{
    quint8 command;
    quint8 function;
    Form form;
    const char* name;
};

const Command COMMANDS[] = {
    {0x06, 0x00, Form::Data, "echo"},
    {0x06, 0x01, Form::Data, "read diagnostic counters"},
    {0x06, 0x03, Form::Data, "diagnostic status"},
    {0x06, 0x07, Form::Data, "reset diagnostic counters"},
    {0x0F, 0x00, Form::WordRange, "word range write"},
    {0x0F, 0x01, Form::WordRead, "word range read"},
    {0x0F, 0x11, Form::Data, "get edit resource"},
    {0x0F, 0x12, Form::Data, "return edit resource"},
    {0x0F, 0x26, Form::ModifyWords, "read-modify-write"},
    {0x0F, 0x3A, Form::Data, "set CPU mode"},
    {0x0F, 0x50, Form::Data, "download all request"},
    {0x0F, 0x52, Form::Data, "download completed"},
    {0x0F, 0x53, Form::Data, "upload all request"},
    {0x0F, 0x55, Form::Data, "upload completed"},
    {0x0F, 0x57, Form::Data, "initialize memory"},
    {0x0F, 0x80, Form::Data, "change mode"},
    {0x0F, 0x81, Form::Data, "open file"},
    {0x0F, 0x82, Form::Data, "close file"},
    {0x0F, 0x8F, Form::Data, "apply port configuration"},
    {0x0F, 0xA1, Form::Typed2, "protected typed logical read, two address fields"},
    {0x0F, 0xA2, Form::Typed3, "protected typed logical read"},
    {0x0F, 0xA7, Form::Data, "protected typed file read"},
    {0x0F, 0xA9, Form::Typed2, "protected typed logical write, two address fields"},
    {0x0F, 0xAA, Form::Typed3, "protected typed logical write"},
    {0x0F, 0xAB, Form::Masked, "protected typed logical masked write"},
    {0x0F, 0xAF, Form::Data, "protected typed file write"},
};

const Command* commandOf(quint8 command, quint8 function)
{
    for (const Command& known : COMMANDS) {
        if (known.command == command && known.function == function)
            return &known;
    }
    return nullptr;
}

struct FileType
{
    quint8 code;
    const char* letters;
};

const FileType FILE_TYPES[] = {
    {0x82, "O"}, {0x83, "I"}, {0x84, "S"}, {0x85, "B"},  {0x86, "T"},
    {0x87, "C"}, {0x88, "R"}, {0x89, "N"}, {0x8A, "F"},  {0x8D, "ST"},
    {0x8E, "A"}, {0x8F, "D"}, {0x91, "L"}, {0x92, "MG"}, {0x93, "PD"},
};

QString lettersOf(std::optional<quint8> type)
{
    for (const FileType& known : FILE_TYPES) {
        if (type == known.code)
            return QLatin1String(known.letters);
    }
    return QString();
}

QString subElementText(const QString& letters, int subElement)
{
    static const char* const ofTimers[] = {"", ".PRE", ".ACC"};
    static const char* const ofControls[] = {"", ".LEN", ".POS"};
    if (subElement == 0)
        return QString();
    if (subElement <= 2 && (letters == QLatin1String("T") || letters == QLatin1String("C")))
        return QLatin1String(ofTimers[subElement]);
    if (subElement <= 2 && letters == QLatin1String("R"))
        return QLatin1String(ofControls[subElement]);
    return QLatin1Char('.') + QString::number(subElement);
}

/// Bytes taken from the front, as long as they last.
class Fields
{
public:
    explicit Fields(const QByteArray& bytes)
        : m_bytes(bytes)
    {}

    quint8 byte()
    {
        m_isShort = m_isShort || m_next >= m_bytes.size();
        return m_isShort ? quint8(0) : static_cast<quint8>(m_bytes.at(m_next++));
    }
    quint16 word()
    {
        const quint8 low = byte();
        return static_cast<quint16>(low | byte() << 8);
    }
    /// One byte, or FF and a word.
    int number()
    {
        const quint8 first = byte();
        return first == WIDE_NUMBER ? word() : first;
    }

    /// Whether more was taken than there was.
    bool isShort() const { return m_isShort; }
    bool atEnd() const { return m_next >= m_bytes.size(); }
    QByteArray rest() const { return m_bytes.mid(m_next); }

private:
    QByteArray m_bytes;
    int m_next = 0;
    bool m_isShort = false;
};

DataAddress typedAddress(Fields& fields, bool hasSubElement)
{
    DataAddress address;
    address.file = fields.number();
    address.type = fields.byte();
    address.element = fields.number();
    address.subElement = hasSubElement ? fields.number() : 0;
    return address;
}

/// Nothing for a level mask that is not known.
std::optional<DataAddress> levelAddress(Fields& fields)
{
    const quint8 fileAndElement = 0x06;
    const quint8 withSubElement = 0x0E;
    const quint8 mask = fields.byte();
    if (mask != fileAndElement && mask != withSubElement)
        return std::nullopt;
    DataAddress address;
    address.file = fields.number();
    address.element = fields.number();
    address.subElement = mask == withSubElement ? fields.number() : 0;
    return address;
}

/// False when the fields are not what the command should have.
bool readTyped(Fields& fields, Form form, Message& message)
{
    message.size = fields.byte();
    message.address = typedAddress(fields, form != Form::Typed2);
    if (form == Form::Masked)
        message.mask = fields.word();
    return !fields.isShort();
}

bool readWordRange(Fields& fields, Form form, Message& message)
{
    fields.word(); // offset in a packet of several commands
    message.size = 2 * fields.word();
    message.address = levelAddress(fields);
    if (form == Form::WordRead)
        message.size = fields.byte();
    return message.address && !fields.isShort();
}

bool readModifiedWords(Fields& fields, Message& message)
{
    while (!fields.atEnd()) {
        const std::optional<DataAddress> address = levelAddress(fields);
        if (!address)
            return false;
        const quint16 andMask = fields.word();
        const quint16 orMask = fields.word();
        message.words.push_back({*address, andMask, orMask});
    }
    return !fields.isShort();
}

bool readForm(Fields& fields, Form form, Message& message)
{
    switch (form) {
    case Form::Data:
        return true;
    case Form::WordRange:
    case Form::WordRead:
        return readWordRange(fields, form, message);
    case Form::ModifyWords:
        return readModifiedWords(fields, message);
    default:
        return readTyped(fields, form, message);
    }
}

void readRequest(const QByteArray& bytes, Message& message)
{
    message.data = bytes;
    const bool hasFunction =
        message.command == 0x06 || message.command == 0x07 || message.command == 0x0F;
    if (!hasFunction || bytes.isEmpty())
        return;
    message.function = static_cast<quint8>(bytes.at(0));
    message.data = bytes.mid(1);
    const Command* const known = commandOf(message.command, *message.function);
    if (known == nullptr)
        return;
    Fields fields(message.data);
    Message filled = message;
    if (!readForm(fields, known->form, filled))
        return;
    filled.data = fields.rest();
    message = filled;
}

void readReply(const QByteArray& bytes, Message& message)
{
    message.data = bytes;
    if (message.status.sts != EXTENDED_STATUS || bytes.isEmpty())
        return;
    message.status.extended = static_cast<quint8>(bytes.at(0));
    message.data = bytes.mid(1);
}

}

QString DataAddress::text() const
{
    const QString letters = lettersOf(type);
    if (!letters.isEmpty())
        return QStringLiteral("%1%2:%3%4")
            .arg(letters)
            .arg(file)
            .arg(element)
            .arg(subElementText(letters, subElement));
    QString text = QStringLiteral("file %1").arg(file);
    if (type)
        text += QStringLiteral(" of type ") + hexByte(*type);
    text += QStringLiteral(", element %1").arg(element);
    if (subElement != 0)
        text += QStringLiteral(", sub-element %1").arg(subElement);
    return text;
}

std::optional<Message> Message::parse(const QByteArray& bytes)
{
    if (bytes.size() < HEADER_SIZE)
        return std::nullopt;
    const auto* const header = reinterpret_cast<const uchar*>(bytes.constData());
    Message message;
    message.destination = header[0];
    message.source = header[1];
    message.command = header[2];
    message.status.sts = header[3];
    message.tns = qFromLittleEndian<quint16>(header + 4);
    const QByteArray rest = bytes.mid(HEADER_SIZE);
    if (message.isReply())
        readReply(rest, message);
    else
        readRequest(rest, message);
    return message;
}

bool Message::answers(const Message& request) const
{
    return command == (request.command | REPLY) && tns == request.tns
           && destination == request.source && source == request.destination;
}

QString Message::commandName() const
{
    const Command* const known = function ? commandOf(command, *function) : nullptr;
    if (known != nullptr)
        return QLatin1String(known->name);
    QString text = QStringLiteral("command ") + hexByte(static_cast<quint8>(command & ~REPLY));
    if (function)
        text += QStringLiteral(" function ") + hexByte(*function);
    return text;
}

}
