#include "simulator/elementbits.h"
#include "simulator/models.h"

#include <random>

namespace simulator {

namespace {

class Filler
{
public:
    Filler(quint32 seed, int processor)
        : m_random(seed)
        , m_processor(processor)
    {}

    void fill(DataFile& file)
    {
        switch (file.type()) {
        case FileType::Output:
            return patterns(file, 0x003F);
        case FileType::Input:
            return patterns(file, 0x03FF);
        case FileType::Status:
            return status(file);
        case FileType::Bit:
            patterns(file, 0xFFFF);
            file.setWord(2, 0, 0x1010);
            return;
        case FileType::Timer:
            return timers(file);
        case FileType::Counter:
            return counters(file);
        case FileType::Control:
            return controls(file);
        case FileType::Integer:
            return integers(file);
        case FileType::Float:
            return reals(file);
        }
    }

private:
    // Library distributions differ between platforms; the engine itself does not.
    int between(int low, int high)
    {
        return low + static_cast<int>(m_random() % static_cast<quint32>(high - low + 1));
    }

    quint16 chance(quint16 bit) { return between(0, 1) == 1 ? bit : 0; }

    void patterns(DataFile& file, int mask)
    {
        for (int element = 0; element < file.elements(); ++element)
            file.setWord(element, 0, static_cast<quint16>(between(1, 0xFFFF) & mask));
    }

    // Mode, scan time, clock and firmware stand where the MicroLogix status file
    // has them, as far as the file is that long; the other words are small counts.
    void status(DataFile& file)
    {
        for (int element = 0; element < file.elements(); ++element)
            file.setWord(element, 0, static_cast<quint16>(between(0, 31)));
        const int fixed[][2] = {
            {1, 0x0006},               // remote run
            {3, between(5, 40)},       // scan time
            {37, between(2008, 2030)}, // year
            {38, between(1, 12)},      // month
            {39, between(1, 28)},      // day
            {40, between(0, 23)},      // hours
            {41, between(0, 59)},      // minutes
            {42, between(0, 59)},      // seconds
            {59, between(1, 16)},      // firmware release
            {60, m_processor},         // processor
        };
        for (const auto& [element, value] : fixed)
            file.setWord(element, 0, static_cast<quint16>(value));
    }

    void setElement(DataFile& file, int element, int control, int preset, int accumulated)
    {
        file.setWord(element, 0, static_cast<quint16>(control));
        file.setWord(element, 1, static_cast<quint16>(preset));
        file.setWord(element, 2, static_cast<quint16>(accumulated));
    }

    void timers(DataFile& file)
    {
        for (int element = 0; element < file.elements(); ++element) {
            const int preset = 10 * between(1, 60);
            switch (between(0, 2)) {
            case 0: // rung false: an on-delay timer stands at zero
                setElement(file, element, 0, preset, 0);
                break;
            case 1:
                setElement(file, element, timer::EN | timer::TT, preset, between(0, preset - 1));
                break;
            default:
                setElement(file, element, timer::EN | timer::DN, preset, preset);
                break;
            }
        }
    }

    void counters(DataFile& file)
    {
        for (int element = 0; element < file.elements(); ++element) {
            const int preset = between(5, 500);
            const int count = between(0, 3) == 0 ? preset : between(0, preset);
            const int done = count >= preset ? counter::DN : 0;
            setElement(file, element, chance(counter::CU) | chance(counter::CD) | done, preset,
                       count);
        }
    }

    void controls(DataFile& file)
    {
        for (int element = 0; element < file.elements(); ++element) {
            const int length = between(4, 32);
            const int position = between(0, 3) == 0 ? length : between(0, length);
            const int done = position >= length ? control::DN : 0;
            setElement(file, element, chance(control::EN) | done, length, position);
        }
    }

    // Counting up from a round number, so that a read's elements tell where in the
    // file they come from; every fifth is negative.
    void integers(DataFile& file)
    {
        const int base = 100 * between(1, 90);
        for (int element = 0; element < file.elements(); ++element) {
            const int value = base + element;
            file.setWord(element, 0, static_cast<quint16>(element % 5 == 4 ? -value : value));
        }
        file.setWord(2, 0, 0x0010);
        file.setWord(3, 0, 0x1010);
    }

    void reals(DataFile& file)
    {
        for (int element = 0; element < file.elements(); ++element)
            file.setReal(element, static_cast<float>(between(-500, 2000)) / 10.0F);
    }

    std::mt19937 m_random;
    int m_processor;
};

}

DataTables seededTables(quint32 seed, const Model& model)
{
    DataTables tables;
    Filler filler(seed, model.name.toInt());
    for (const auto& [number, type, elements] : model.files)
        filler.fill(tables.add(number, type, elements));
    return tables;
}

}
