#include "simulator/models.h"

#include <QStringList>

namespace simulator {

namespace {

constexpr int modeBits = 0x1F; // of S2:1

// Fixed for all programs. O0 and I1 are as long as the 20 inputs and 12 outputs of
// the catalogue number need.
std::vector<FileLayout> filesOf1000()
{
    return {
        {0, FileType::Output, 1},   {1, FileType::Input, 2},     {2, FileType::Status, 33},
        {3, FileType::Bit, 32},     {4, FileType::Timer, 40},    {5, FileType::Counter, 32},
        {6, FileType::Control, 16}, {7, FileType::Integer, 105},
    };
}

// The predefined files, with lengths that a program might choose.
std::vector<FileLayout> predefinedFiles()
{
    return {
        {0, FileType::Output, 32},  {1, FileType::Input, 32},    {2, FileType::Status, 66},
        {3, FileType::Bit, 64},     {4, FileType::Timer, 40},    {5, FileType::Counter, 40},
        {6, FileType::Control, 40}, {7, FileType::Integer, 256}, {8, FileType::Float, 64},
    };
}

}

const std::vector<Model>& knownModels()
{
    // Of the 1400, sources name limits from 220 to 248 data bytes; 206 is safe.
    static const std::vector<Model> models = {
        {"1000", "1761-L32BWA", 'E', 1, 1, 1, 82, filesOf1000()},
        {"1100", "1763-L16BWA", 'B', 16, 8, 1, 206, predefinedFiles()},
        {"1200", "1762-L24BWA", 'C', 13, 6, 1, 206, predefinedFiles()},
        {"1400", "1766-L32BWA", 'B', 21, 20, 1, 206, predefinedFiles()},
        {"1500", "1764-LRP", 'C', 13, 14, 1, 206, predefinedFiles()},
    };
    return models;
}

const Model* modelOf(const QString& name, QString* error)
{
    QStringList names;
    for (const Model& model : knownModels()) {
        if (model.name == name)
            return &model;
        names << model.name;
    }
    *error = QString("unknown model \"%1\"; known models are %2").arg(name, names.join(", "));
    return nullptr;
}

const Model* modelOfCatalogue(const QByteArray& catalogueNumber)
{
    constexpr int bulletinSize = 6; // "1766-L"
    for (const Model& model : knownModels()) {
        if (catalogueNumber.startsWith(model.catalogueNumber.left(bulletinSize)))
            return &model;
    }
    return nullptr;
}

const Model& defaultModel()
{
    return knownModels().at(1);
}

void setProcessorMode(DataTables& tables, ProcessorMode mode)
{
    DataFile* status = tables.file(2);
    if (!status)
        return;
    const int others = status->word(1).value_or(0) & ~modeBits;
    status->setWord(1, 0, static_cast<quint16>(others | static_cast<int>(mode)));
}

bool isInProgramMode(const DataTables& tables)
{
    const DataFile* status = tables.file(2);
    const int mode = status ? status->word(1).value_or(0) & modeBits : 0;
    return mode == static_cast<int>(ProcessorMode::RemoteProgram);
}

}
