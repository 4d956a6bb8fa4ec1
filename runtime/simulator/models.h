// The controllers of the MicroLogix family, as far as a host can tell them apart
// over DF1.
#pragma once

#include "simulator/datatables.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

namespace simulator {

struct FileLayout
{
    int number;
    FileType type;
    int elements;
};

/// One member of a family stands for all: catalogue number, series, firmware and
/// the lengths of files that programs set are examples.
struct Model
{
    QString name;               ///< such as "1100"
    QByteArray catalogueNumber; ///< ASCII, 11 characters at most
    char series;                ///< 'A' to 'H'
    int firmware;               ///< 0 to 31
    int ramKilobytes;           ///< 0 to 255
    quint16 programId;          ///< tells one downloaded program from the next
    int dataBytesPerMessage;    ///< the most that one read or write carries
    std::vector<FileLayout> files;
    /// The N file that shows the link counters as data, as the communications status
    /// file CS0 of a 1100 does; which number it has is the program's affair.
    std::optional<int> countersFile = {};
};

/// MicroLogix 1000, 1100, 1200, 1400 and 1500, in this order.
const std::vector<Model>& knownModels();

/// The known model with this name, which lasts as long as the program. Null for
/// another name, with the names that there are in @p error, which is not null.
const Model* modelOf(const QString& name, QString* error);

/// The known model of which @p catalogueNumber, such as 1766-L32BXBA, is a kind; null
/// for another.
const Model* modelOfCatalogue(const QByteArray& catalogueNumber);

/// A MicroLogix 1100.
const Model& defaultModel();

/// The model's files as if a small program had been running: timers and counters
/// agree with their status bits, floats come in steps of 0.1, integers are small
/// and some of them negative. N7:2, N7:3 and B3:2 always hold bytes of 0x10, which
/// the wire doubles. The image depends on the seed and the model's name and files
/// alone, on every platform.
DataTables seededTables(quint32 seed, const Model& model = defaultModel());

/// Modes as S2:1 has them in its bits 0 to 4.
enum class ProcessorMode : quint8
{
    RemoteProgram = 0x01,
    Run = 0x06,
    TestContinuous = 0x07,
    TestSingleScan = 0x08,
};

/// Shows @p mode in S2:1 and leaves its other bits; without effect on tables that
/// have no S2.
void setProcessorMode(DataTables& tables, ProcessorMode mode);
/// Whether S2:1 shows RemoteProgram.
bool isInProgramMode(const DataTables& tables);

}
