// A driver's port with a simulated controller behind it, in memory and on a clock of its
// own: a wait for an answer that does not come takes no time.
#pragma once

#include <QByteArray>
#include <deque>
#include <functional>
#include <random>

#include "drivers/abstractdeviceinterface.h"
#include "simulator/controller.h"
#include "simulator/faults.h"
#include "simulator/models.h"
#include "simulator/station.h"

namespace support {

/// Bits that flip on their way. A hit flips one bit, and of the burstBits - 1 behind it
/// each with a chance of one half.
struct NoiseSettings
{
    double hitsPerBit = 0;
    int burstBits = 1;
};

class Noise
{
public:
    Noise(const NoiseSettings& settings, quint32 seed);
    /// Whether any bit was flipped.
    bool spoil(QByteArray& bytes);

private:
    qint64 drawGap();

    NoiseSettings m_settings;
    std::mt19937 m_random;
    qint64 m_gap; // bits until the next hit
    int m_burstLeft = 0;
};

struct VirtualLineSettings
{
    simulator::DataTables tables;
    simulator::FaultScript faults = {};
    quint32 seed = 1;
    NoiseSettings noise = {}; ///< both ways
    int retries = 0;
};

/// Station 1 behind it, station 0 in front of it, 500 ms for an answer.
class VirtualLine : public AbstractDeviceInterface
{
public:
    explicit VirtualLine(const VirtualLineSettings& settings);
    VirtualLine(const VirtualLine&) = delete;
    VirtualLine& operator=(const VirtualLine&) = delete;

    int receiveData(unsigned char* buffer, int maxBytes) override;
    void sendData(const unsigned char* data, int length) override;
    void getParameter(int id, QVariant& value) override;
    void setParameter(int id, const QVariant& value) override;
    int retryCount() override;
    int destinationAddress() override { return 1; }
    int sourceAddress() override { return 0; }
    unsigned int delayTime() override { return 0; }

    const simulator::DataTables& tables() const { return m_controller.tables(); }
    /// The tables that the present controller came with, and what faults made of them.
    const simulator::DataTables& base() const { return m_base; }
    /// Changes the tables from the controller's side.
    void change(const std::function<void(simulator::DataTables&)>& apply);

    std::function<void()> executed; ///< called when a request has been; may be empty
    int retries;
    int failedAttempts = 0; ///< those after which the driver has asked for retries
    int damagedFrames = 0;  ///< by noise, either way, or with their transaction by faults

private:
    void process(QByteArray output);
    void affect(const simulator::SideEffects& effects);
    void passTime(qint64 until);

    simulator::Controller m_controller;
    simulator::DataTables m_base;
    simulator::Station m_station;
    simulator::Faults m_faults;
    Noise m_noise;
    const quint32 m_seed;
    qint64 m_now = 0; // milliseconds
    std::deque<simulator::TimedBytes> m_coming;
    QByteArray m_input;
};

}
