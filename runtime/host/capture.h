// Captures of a line's traffic as pcap files, for Wireshark and the like.
//
// Link type 147 (USER0). One record for each frame, link answer or run of noise, with
// the time of its last byte: a header of four bytes, then the bytes as they were on the
// line, but for answers embedded in a frame, which have records of their own before it.
//
//   byte 0   version, 1
//   byte 1   direction: 0 to the controller, 1 from it
//   byte 2   bit 0: the driver threw the bytes away unread; bit 1: an answer that stood
//            inside the following frame; all others 0
//   byte 3   0
#pragma once

#include <QString>
#include <cstdio>
#include <memory>
#include <optional>

#include "host/traffic.h"

namespace host {

/// Writes a capture. Not copyable.
class CaptureWriter
{
public:
    /// Makes the file or begins it anew. On failure null, with one line in @p error
    /// (not null).
    static std::unique_ptr<CaptureWriter> open(const QString& path, QString* error);
    ~CaptureWriter();

    /// Appends a record and sees it through to the file; silence makes none. False, with
    /// one line in @p error (not null), when it can't be written: the file may end in a
    /// part of a record then.
    bool write(const Sighting& sighting, QString* error);

private:
    struct File;
    CaptureWriter(std::unique_ptr<File> file, const QString& path);

    const std::unique_ptr<File> m_file;
    const QString m_path;
};

/// Reads a capture, pcap or pcapng, of this link type. Not copyable.
class CaptureReader
{
public:
    /// Whether a file that begins with these bytes, four at least, is a capture.
    static bool isCapture(const QByteArray& start);
    /// Reads from @p file, which it takes over, from where it stands; @p name is for
    /// messages. On failure null, with one line in @p error (not null).
    static std::unique_ptr<CaptureReader> open(std::FILE* file, const QString& name,
                                               QString* error);
    ~CaptureReader();

    /// Nothing at the end; also nothing, with one line in error(), for a file that is cut
    /// off or damaged and for a record of another making.
    std::optional<Record> next();
    const QString& error() const { return m_error; }

private:
    struct File;
    CaptureReader(std::unique_ptr<File> file, const QString& name);

    const std::unique_ptr<File> m_file;
    const QString m_name;
    int m_count = 0; ///< records so far
    QString m_error;
};

}
