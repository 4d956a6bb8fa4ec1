#include "simulator/life.h"

#include "simulator/elementbits.h"
#include "simulator/models.h"

#include <algorithm>
#include <cmath>

namespace simulator {

namespace {

constexpr qint64 second = 1000;
constexpr qint64 halfSecond = 500;

// How often a multiple of step is reached in (from, to].
qint64 ticks(qint64 from, qint64 to, qint64 step)
{
    return to / step - from / step;
}

DataFile* firstOf(DataTables& tables, FileType type)
{
    for (const auto& entry : tables.files()) {
        if (entry.second.type() == type)
            return tables.file(entry.first);
    }
    return nullptr;
}

struct TimerState
{
    bool done;
    qint64 accumulated;
};

// Goes from event to event, not from tick to tick: hours may have passed.
TimerState timerAfter(TimerState state, qint64 preset, qint64 base, qint64 from, qint64 to)
{
    while (from < to) {
        if (state.done) {
            const qint64 restart = (from / second + 1) * second;
            if (restart > to)
                break;
            state = {false, 0};
            from = restart;
        }
        const qint64 left = std::max<qint64>(preset - state.accumulated, 0);
        const qint64 finish = left == 0 ? from : (from / base + left) * base;
        if (finish > to) {
            state.accumulated += ticks(from, to, base);
            break;
        }
        state = {true, std::max<qint64>(preset, 0)};
        from = finish;
    }
    return state;
}

void runTimer(DataFile& file, int element, qint64 from, qint64 to)
{
    const int control = *file.word(element, 0);
    const int rest = control & ~(timer::TT | timer::DN);
    if ((control & timer::EN) == 0) {
        file.setWord(element, 0, static_cast<quint16>(rest));
        file.setWord(element, 2, 0);
        return;
    }
    const auto preset = static_cast<qint16>(*file.word(element, 1));
    const auto accumulated = static_cast<qint16>(*file.word(element, 2));
    const qint64 base = (control & timer::SecondBase) != 0 ? second : 10;
    const TimerState state =
        timerAfter({(control & timer::DN) != 0, accumulated}, preset, base, from, to);
    file.setWord(element, 0, static_cast<quint16>(rest | (state.done ? timer::DN : timer::TT)));
    file.setWord(element, 2, static_cast<quint16>(state.accumulated));
}

void runCounter(DataFile& file, int element, qint64 from, qint64 to)
{
    const qint64 count = static_cast<qint16>(*file.word(element, 2)) + ticks(from, to, second);
    int control = *file.word(element, 0) & ~(counter::CU | counter::DN);
    control |= count > 32767 ? counter::OV : 0;
    control |= to % second < halfSecond ? counter::CU : 0;
    const auto accumulated = static_cast<quint16>(count);
    const auto preset = static_cast<qint16>(*file.word(element, 1));
    control |= static_cast<qint16>(accumulated) >= preset ? counter::DN : 0;
    file.setWord(element, 0, static_cast<quint16>(control));
    file.setWord(element, 2, accumulated);
}

float sineAt(qint64 age)
{
    constexpr qint64 period = 60 * second;
    constexpr double fullCircle = 6.283185307179586;
    const double angle = fullCircle * static_cast<double>(age % period) / period;
    return static_cast<float>(std::round(100 * 100 * std::sin(angle)) / 100);
}

void move(DataTables& tables, qint64 from, qint64 to)
{
    for (const auto& entry : tables.files()) {
        DataFile& file = *tables.file(entry.first);
        if (file.type() != FileType::Timer && file.type() != FileType::Counter)
            continue;
        const auto run = file.type() == FileType::Timer ? runTimer : runCounter;
        for (int element = 0; element < file.elements(); ++element)
            run(file, element, from, to);
    }
    DataFile* const inputs = firstOf(tables, FileType::Input);
    if (inputs && inputs->has(0, 0) && ticks(from, to, halfSecond) % 2 != 0)
        inputs->setWord(0, 0, static_cast<quint16>(~*inputs->word(0)));
    if (DataFile* const reals = firstOf(tables, FileType::Float))
        reals->setReal(0, sineAt(to));
}

}

void Life::advance(DataTables& tables, qint64 now)
{
    const qint64 passed = now - m_last.value_or(now);
    m_last = now;
    if (isInProgramMode(tables))
        return;
    move(tables, m_age, m_age + passed);
    m_age += passed;
}

}
