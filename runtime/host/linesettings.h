// The parameters of a serial line.
#pragma once

#include <QSerialPort>
#include <QString>

#include <optional>

namespace host {

/// How bytes travel on a serial line. A plain value.
struct LineSettings
{
    qint32 baudRate = 19200; ///< bit/s
    QSerialPort::Parity parity = QSerialPort::NoParity;
    QSerialPort::DataBits dataBits = QSerialPort::Data8;
    QSerialPort::StopBits stopBits = QSerialPort::OneStop;

    /// Reads baud rate, parity, data bits and stop bits, separated by commas,
    /// such as "19200,NONE,8,1". Parity: NONE, EVEN, ODD, MARK or SPACE, in any
    /// case; data bits 5 to 8; stop bits 1 or 2 (there is no 1.5 on this
    /// system); blanks around a value are skipped. Otherwise nothing, and
    /// @p error (which may be null) says what is wrong and what would be right.
    static std::optional<LineSettings> parse(const QString& text, QString* error = nullptr);
    /// The text that parse() reads.
    QString toText() const;
    /// Time that one byte takes on the line, start, parity and stop bits included.
    double secondsPerByte() const;
};

}
