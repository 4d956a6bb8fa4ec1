#include "support/virtualline.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace support {

using simulator::TimedBytes;

namespace {

constexpr qint64 timeoutMs = 500;
constexpr qint64 drainPauseMs = 3; // the driver's own, which the port does not see

}

Noise::Noise(const NoiseSettings& settings, quint32 seed)
    : m_settings(settings)
    , m_random(seed)
    , m_gap(drawGap())
{}

qint64 Noise::drawGap()
{
    if (!(m_settings.hitsPerBit > 0))
        return std::numeric_limits<qint64>::max();
    const double chance = (static_cast<double>(m_random()) + 1) / 4294967297.0;
    return static_cast<qint64>(std::log(chance) / std::log1p(-m_settings.hitsPerBit));
}

bool Noise::spoil(QByteArray& bytes)
{
    const qint64 bits = 8 * static_cast<qint64>(bytes.size());
    bool isSpoilt = false;
    for (qint64 at = 0; at < bits; ++at) {
        if (m_burstLeft == 0) {
            const qint64 step = std::min(m_gap, bits - at);
            m_gap -= step;
            at += step;
            if (at == bits)
                break;
            m_gap = drawGap();
            m_burstLeft = m_settings.burstBits;
        } else if (m_random() % 2 == 0) {
            --m_burstLeft;
            continue;
        }
        --m_burstLeft;
        isSpoilt = true;
        const int byte = static_cast<int>(at / 8);
        bytes[byte] = static_cast<char>(bytes.at(byte) ^ (1 << (at % 8)));
    }
    return isSpoilt;
}

VirtualLine::VirtualLine(const VirtualLineSettings& settings)
    : retries(settings.retries)
    , m_controller(settings.tables)
    , m_base(settings.tables)
    , m_station({},
                [this](const QByteArray& request) {
                    const QByteArray reply = m_controller.execute(request);
                    if (executed)
                        executed();
                    return reply;
                })
    , m_faults(settings.faults, settings.seed, simulator::CheckMethod::Crc)
    , m_noise(settings.noise, settings.seed)
    , m_seed(settings.seed)
{}

int VirtualLine::receiveData(unsigned char* buffer, int maxBytes)
{
    const qint64 end = m_now + timeoutMs;
    passTime(m_now);
    while (m_input.size() < maxBytes && m_now < end) {
        qint64 next = end;
        if (!m_coming.empty())
            next = std::min(next, m_coming.front().at);
        if (const auto deadline = m_station.deadline())
            next = std::min(next, *deadline);
        passTime(std::max(next, m_now));
    }
    const int count = std::min(maxBytes, static_cast<int>(m_input.size()));
    std::memcpy(buffer, m_input.constData(), static_cast<size_t>(count));
    m_input.remove(0, count);
    return count;
}

void VirtualLine::sendData(const unsigned char* data, int length)
{
    QByteArray bytes(reinterpret_cast<const char*>(data), length);
    if (m_noise.spoil(bytes) && length > 2)
        ++damagedFrames;
    process(m_station.receive(bytes, m_now));
}

void VirtualLine::getParameter(int, QVariant& value)
{
    passTime(m_now + drainPauseMs);
    value = static_cast<int>(m_input.size());
}

void VirtualLine::setParameter(int, const QVariant&)
{
    passTime(m_now);
    m_input.clear();
}

int VirtualLine::retryCount()
{
    ++failedAttempts;
    return retries;
}

/// Lets happen what is due until then.
void VirtualLine::passTime(qint64 until)
{
    m_now = until;
    process(m_station.elapse(m_now));
    for (; !m_coming.empty() && m_coming.front().at <= m_now; m_coming.pop_front()) {
        QByteArray bytes = m_coming.front().bytes;
        if (m_noise.spoil(bytes) && bytes.size() > 2)
            ++damagedFrames;
        m_input += bytes;
    }
}

void VirtualLine::process(QByteArray output)
{
    while (!output.isEmpty()) {
        const simulator::Faults::Passed passed = m_faults.pass(output, m_now);
        output.clear();
        damagedFrames += passed.names.isEmpty() ? 0 : 1;
        affect(passed.effects);
        m_coming.insert(m_coming.end(), passed.line.begin(), passed.line.end());
        std::stable_sort(m_coming.begin(), m_coming.end(),
                         [](const TimedBytes& a, const TimedBytes& b) { return a.at < b.at; });
        for (int i = 0; i < passed.effects.forgottenReplies; ++i)
            output += m_station.receive(simulator::controlPair(simulator::symbol::ACK), m_now);
    }
}

void VirtualLine::affect(const simulator::SideEffects& effects)
{
    QString unknown;
    const auto* const model =
        simulator::modelOf(QString::number(effects.swappedModel.value_or(0)), &unknown);
    if (model) {
        m_base = simulator::seededTables(m_seed + 1, *model);
        m_controller = simulator::Controller(m_base, *model);
    }
    if (effects.programMode)
        change([](simulator::DataTables& tables) {
            setProcessorMode(tables, simulator::ProcessorMode::RemoteProgram);
        });
}

void VirtualLine::change(const std::function<void(simulator::DataTables&)>& apply)
{
    apply(m_controller.tables());
    apply(m_base);
}

}
