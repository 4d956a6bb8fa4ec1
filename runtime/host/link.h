// From the text that names a link to an open port.
#pragma once

#include <QIODevice>
#include <QString>

#include <memory>

#include "host/deviceport.h"
#include "host/linesettings.h"

namespace host {

/// An open device with the port over it; closes the device when it goes.
///
/// Opened, used and destroyed in one thread, which may be any: a std::thread
/// too, and no event loop need run. The program has a QCoreApplication.
class Link
{
public:
    static constexpr int DefaultConnectMs = 5000;

    /// Opens what @p text names:
    /// - a serial device or pseudo-terminal, by its path, by a symbolic link to
    ///   it or by its bare name in /dev: /dev/ttyUSB0, ttyUSB0, /dev/pts/3. It is
    ///   set to @p line without flow control and locked against other programs;
    ///   closing gives it its former settings back. A pseudo-terminal carries
    ///   whole bytes, so data bits and parity are left alone there;
    /// - tcp://host:port, a TCP device server; an IPv6 address goes in brackets.
    ///   Looking up and connecting take @p connectMs milliseconds at most.
    /// Where @p settings doesn't know the time of a byte, it is taken from
    /// @p line. On failure null, and @p error (which may be null) gets one line
    /// that says what is wrong and what would be right.
    static std::unique_ptr<Link> open(const QString& text, const LineSettings& line,
                                      const PortSettings& settings, QString* error = nullptr,
                                      int connectMs = DefaultConnectMs);

    /// The text that the link was opened by.
    const QString& text() const { return m_text; }
    /// Whether the line settings matter: not on a pseudo-terminal, nor over TCP, where
    /// the device server has them.
    bool hasLineSettings() const;
    /// The open device; owned by the link.
    QIODevice& device() { return *m_device; }
    /// The port over it; owned by the link.
    DevicePort& port() { return m_port; }

private:
    Link(const QString& text, std::unique_ptr<QIODevice> device, const PortSettings& settings);

    const QString m_text;
    const std::unique_ptr<QIODevice> m_device;
    DevicePort m_port;
};

}
