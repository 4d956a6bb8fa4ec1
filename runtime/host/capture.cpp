#include "host/capture.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <pcap/pcap.h>
#include <utility>

namespace host {

namespace {

const int LINK_TYPE = DLT_USER0;
const int LONGEST_RECORD = 65535;
const int HEADER_SIZE = 4;
const int MICROSECONDS_PER_SECOND = 1000000;

const char VERSION = 1;
const char FROM_CONTROLLER = 1;
const char DISCARDED = 1;
const char EMBEDDED = 2;

QByteArray headerOf(const Sighting& sighting)
{
    QByteArray header(HEADER_SIZE, '\0');
    header[0] = VERSION;
    if (sighting.direction == Direction::Received)
        header[1] = FROM_CONTROLLER;
    if (sighting.isDiscarded)
        header[2] = static_cast<char>(header.at(2) | DISCARDED);
    if (sighting.token.isEmbedded)
        header[2] = static_cast<char>(header.at(2) | EMBEDDED);
    return header;
}

QString systemText()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

QString cannotWrite(const QString& path)
{
    return QStringLiteral("cannot write the capture %1: %2; give another file, or make room")
        .arg(path, systemText());
}

QString cannotRead(const QString& name, const QString& reason)
{
    return QStringLiteral("cannot read the capture %1: %2").arg(name, reason);
}

}

struct CaptureWriter::File
{
    ~File()
    {
        if (dumper != nullptr)
            pcap_dump_close(dumper);
        if (format != nullptr)
            pcap_close(format);
    }

    pcap_t* format = nullptr;
    pcap_dumper_t* dumper = nullptr;
};

CaptureWriter::CaptureWriter(std::unique_ptr<File> file, const QString& path)
    : m_file(std::move(file))
    , m_path(path)
{}

CaptureWriter::~CaptureWriter() = default;

std::unique_ptr<CaptureWriter> CaptureWriter::open(const QString& path, QString* error)
{
    std::FILE* const stream = std::fopen(path.toLocal8Bit().constData(), "wbe");
    if (stream == nullptr) {
        *error = cannotWrite(path);
        return nullptr;
    }
    auto file = std::make_unique<File>();
    file->format = pcap_open_dead(LINK_TYPE, LONGEST_RECORD);
    file->dumper = pcap_dump_fopen(file->format, stream); // closes the stream if it fails
    if (file->dumper == nullptr || pcap_dump_flush(file->dumper) != 0) {
        *error = cannotWrite(path);
        return nullptr;
    }
    return std::unique_ptr<CaptureWriter>(new CaptureWriter(std::move(file), path));
}

bool CaptureWriter::write(const Sighting& sighting, QString* error)
{
    if (sighting.token.raw.isEmpty())
        return true;
    const QByteArray record = headerOf(sighting) + sighting.token.raw;
    const auto microseconds = sighting.time.time_since_epoch().count();
    pcap_pkthdr header = {};
    header.ts.tv_sec = static_cast<time_t>(microseconds / MICROSECONDS_PER_SECOND);
    header.ts.tv_usec = static_cast<suseconds_t>(microseconds % MICROSECONDS_PER_SECOND);
    header.caplen = static_cast<bpf_u_int32>(record.size());
    header.len = header.caplen;
    pcap_dump(reinterpret_cast<u_char*>(m_file->dumper), &header,
              reinterpret_cast<const u_char*>(record.constData()));
    if (pcap_dump_flush(m_file->dumper) == 0)
        return true;
    *error = cannotWrite(m_path);
    return false;
}

struct CaptureReader::File
{
    ~File()
    {
        if (reader != nullptr)
            pcap_close(reader);
    }

    pcap_t* reader = nullptr;
};

CaptureReader::CaptureReader(std::unique_ptr<File> file, const QString& name)
    : m_file(std::move(file))
    , m_name(name)
{}

CaptureReader::~CaptureReader() = default;

bool CaptureReader::isCapture(const QByteArray& start)
{
    // pcap with microseconds and with nanoseconds, both in either byte order; pcapng.
    static const char* const marks[] = {"d4c3b2a1", "a1b2c3d4", "4d3cb2a1", "a1b23c4d", "0a0d0d0a"};
    return std::any_of(std::begin(marks), std::end(marks),
                       [&](const char* mark) { return start.left(4).toHex() == mark; });
}

std::unique_ptr<CaptureReader> CaptureReader::open(std::FILE* file, const QString& name,
                                                   QString* error)
{
    char reason[PCAP_ERRBUF_SIZE] = "";
    auto opened = std::make_unique<File>();
    opened->reader = pcap_fopen_offline(file, reason);
    if (opened->reader == nullptr) {
        std::fclose(file);
        *error = cannotRead(name, QString::fromLocal8Bit(reason));
        return nullptr;
    }
    const int linkType = pcap_datalink(opened->reader);
    if (linkType != LINK_TYPE) {
        *error = cannotRead(name, QStringLiteral("its link type is %1, not %2; give one that df1 "
                                                 "has written")
                                      .arg(linkType)
                                      .arg(LINK_TYPE));
        return nullptr;
    }
    return std::unique_ptr<CaptureReader>(new CaptureReader(std::move(opened), name));
}

std::optional<Record> CaptureReader::next()
{
    pcap_pkthdr* header = nullptr;
    const u_char* bytes = nullptr;
    const int result = pcap_next_ex(m_file->reader, &header, &bytes);
    if (result == PCAP_ERROR_BREAK)
        return std::nullopt;
    if (result != 1) {
        m_error = cannotRead(m_name, QString::fromLocal8Bit(pcap_geterr(m_file->reader)));
        return std::nullopt;
    }
    ++m_count;
    const QByteArray record(reinterpret_cast<const char*>(bytes), static_cast<int>(header->caplen));
    if (record.size() <= HEADER_SIZE || record.at(0) != VERSION) {
        m_error = cannotRead(m_name, QStringLiteral("record %1 does not begin with a header of "
                                                    "version 1; give a file that df1 has written")
                                         .arg(m_count));
        return std::nullopt;
    }
    Record read;
    read.direction = record.at(1) == FROM_CONTROLLER ? Direction::Received : Direction::Sent;
    read.time = TimePoint(std::chrono::seconds(header->ts.tv_sec)
                          + std::chrono::microseconds(header->ts.tv_usec));
    read.isDiscarded = (record.at(2) & DISCARDED) != 0;
    read.isEmbedded = (record.at(2) & EMBEDDED) != 0;
    read.bytes = record.mid(HEADER_SIZE);
    return read;
}

}
