#include <QtTest>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "support/exchange.h"

extern "C" DriverInterface* CreateDriver();

namespace {

const int THREADS = 8;
const int ROUNDS = 60;

/// What a driver makes of answers of its own: data, a refusal, silence, a write.
void use(int number, std::atomic<int>& wrong)
{
    const std::unique_ptr<DriverInterface> driver(CreateDriver());
    const QByteArray data(4, static_cast<char>(number));
    const QString address = QString("N7:%1").arg(number);
    for (int round = 0; round < ROUNDS; ++round) {
        const int tns = 4 * round; // of the request before
        ScriptedPort port;
        port.answer(reply(tns + 1, data)).answer(reply(tns + 2, "", "10"));
        port.answer(QByteArray()).answer(reply(tns + 4));
        bool right = driver->read(&port, request(2, 2, address)) == data && !driver->hasError();
        right = right && driver->read(&port, request(2, 2, address)).isEmpty()
                && driver->getLastError() == "invalid address:" + address;
        right = right && driver->read(&port, request(0, 1, "T4:0/DN")).isEmpty()
                && driver->getLastError() == "PLC no response";
        right = right && driver->write(&port, request(2, 2, address), data);
        const QByteArray sent = requestFrame(tns + 4, hex("AA040789") + char(number) + '\0' + data);
        right = right && port.sent.at(port.sent.size() - 2) == sent;
        wrong += right ? 0 : 1;
    }
}

}

class TestThreads : public QObject
{
    Q_OBJECT

private slots:
    // Catches: state that driver objects share, such as one transaction number, error
    // or receive buffer for all. The thread sanitizer sees it even where it goes well.
    void driversShareNothing()
    {
        std::atomic<int> wrong(0);
        std::vector<std::thread> threads;
        for (int number = 1; number <= THREADS; ++number)
            threads.emplace_back(use, number, std::ref(wrong));
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(wrong.load(), 0);
    }
};

QTEST_APPLESS_MAIN(TestThreads)
#include "tst_threads.moc"
