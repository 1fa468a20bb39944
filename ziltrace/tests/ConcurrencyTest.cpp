// SPDX-License-Identifier: MIT
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/TemporaryFile.h"
#include "support/TraceFixture.h"

namespace {

class CountingSink : public ZilTraceControl::Sink {
public:
    explicit CountingSink(std::atomic<long>& total) : m_total(total) {}
    ~CountingSink() override { EXPECT_EQ(m_inside, 0); }

    void write(const ZilTraceControl::Record&) override {
        ++m_inside;
        ++m_total;
        // The pause makes it likely that some thread is always in this function.
        std::this_thread::yield();
        --m_inside;
    }

private:
    std::atomic<long>& m_total;
    std::atomic<int> m_inside{0};
};

/** A sink that blocks each writing thread until a test calls open(). */
class GateSink : public ZilTraceControl::Sink {
public:
    void write(const ZilTraceControl::Record&) override {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_entered = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_open; });
        m_left = true;
    }

    void awaitEntry() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_entered; });
    }

    void open() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

    bool left() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_left;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_entered = false;
    bool m_open = false;
    bool m_left = false;
};

class Concurrency : public TraceFixture {
protected:
    ~Concurrency() override { stopTracing(); }

    void startTracing(int threads) {
        for (int i = 0; i < threads; ++i) {
            m_tracers.emplace_back([this] {
                while (!m_stop) {
                    if (m_channel.isEnabled(6)) {
                        m_channel.logMsg(6, anyHeader, "text");
                        ++m_sent;
                    }
                }
            });
        }
    }

    void stopTracing() {
        m_stop = true;
        for (std::thread& tracer : m_tracers) {
            tracer.join();
        }
        m_tracers.clear();
    }

    void awaitMoreMessages() {
        const long before = m_sent;
        while (m_sent == before) {
            std::this_thread::yield();
        }
    }

    ZilTrace m_channel{"Test.Concurrency", 7, 256};
    std::atomic<bool> m_stop{false};
    std::atomic<long> m_sent{0};
    std::vector<std::thread> m_tracers;
};

TEST_F(Concurrency, AllowsASinkToBeDestroyedAsSoonAsItIsReplaced) {
    std::atomic<long> received{0};
    auto sink = std::make_unique<CountingSink>(received);
    ZilTraceControl::setSink(sink.get());
    startTracing(3);
    for (int i = 0; i < 300; ++i) {
        awaitMoreMessages();
        auto next = std::make_unique<CountingSink>(received);
        EXPECT_EQ(ZilTraceControl::setSink(next.get()), sink.get());
        sink = std::move(next);
    }
    stopTracing();
    ZilTraceControl::setSink(nullptr);
    EXPECT_EQ(received, m_sent) << "a change of the sink must not lose messages";
}

TEST_F(Concurrency, MakesSetSinkWaitForTheThreadThatUsesThePreviousSink) {
    for (int round = 0; round < 100; ++round) {
        GateSink gate;
        ZilTraceControl::setSink(&gate);
        std::thread tracer([this] { m_channel.logMsg(1, anyHeader, "text"); });
        gate.awaitEntry();
        std::atomic<bool> swapBegins{false};
        std::thread opener([&] {
            while (!swapBegins) {
                std::this_thread::yield();
            }
            gate.open();
        });
        swapBegins = true;
        ZilTraceControl::setSink(nullptr);
        EXPECT_TRUE(gate.left());
        opener.join();
        tracer.join();
    }
}

TEST_F(Concurrency, LetsThreadsUseASinkAtTheSameTime) {
    class MeetingSink : public ZilTraceControl::Sink {
    public:
        void write(const ZilTraceControl::Record&) override {
            std::unique_lock<std::mutex> lock(m_mutex);
            ++m_inside;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_inside == 2; });
        }

    private:
        std::mutex m_mutex;
        std::condition_variable m_changed;
        int m_inside = 0;
    };
    MeetingSink sink;
    ZilTraceControl::setSink(&sink);
    std::thread other([this] { m_channel.logMsg(1, anyHeader, "x"); });
    m_channel.logMsg(1, anyHeader, "y");
    other.join();
    ZilTraceControl::setSink(nullptr);
}

TEST_F(Concurrency, AllowsReconfigurationWhileThreadsTrace) {
    const TemporaryFile file;
    std::atomic<long> received{0};
    configure("sink=file:/dev/null");
    startTracing(2);
    std::thread swapper([&received] {
        for (int i = 0; i < 200; ++i) {
            CountingSink sink(received);
            ZilTraceControl::setSink(&sink);
            ZilTraceControl::setSink(nullptr);
        }
    });
    std::thread constructor([] {
        for (int i = 0; i < 200; ++i) {
            ZilTrace channel("Test.Passing", 3, 256);
            if (channel.isEnabled(6)) {
                channel.logEnterMsg(6, anyHeader);
            }
        }
    });
    for (int i = 0; i < 200; ++i) {
        std::string error;
        EXPECT_TRUE(ZilTraceControl::configure("Test.*=6,sink=file:" + file.path(), error));
        EXPECT_TRUE(ZilTraceControl::setLevel("Test.*", i % 8));
        EXPECT_FALSE(ZilTraceControl::configure("Test.*=8", error));
        EXPECT_FALSE(ZilTraceControl::channels().empty());
        EXPECT_TRUE(ZilTraceControl::configure("sink=file:/dev/null", error));
        ZilTraceControl::resetLevels();
    }
    swapper.join();
    constructor.join();
    awaitMoreMessages();
    stopTracing();
    for (const std::string& line : file.lines()) {
        EXPECT_EQ(line.find("Z "), 26U) << line;
    }
}

} // namespace
