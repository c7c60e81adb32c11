#include <csignal>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QTest>

#include "app/quiet_exit.h"

// Each case runs in a child process; the test checks how that process ends.
class TestQuietExit : public QObject
{
    Q_OBJECT

    struct End
    {
        bool exited;
        int code; // exit status or signal
        QByteArray output;
    };

    static End endOf(const std::function<void()> &body)
    {
        int pipe[2];
        if (::pipe(pipe) != 0)
            return {};
        const pid_t child = ::fork();
        if (child == 0) {
            const rlimit noCore{0, 0};
            ::setrlimit(RLIMIT_CORE, &noCore);
            // Replaces Qt Test's own handler, which would print a report.
            std::signal(SIGABRT, SIG_DFL);
            ::dup2(pipe[1], STDOUT_FILENO);
            std::set_terminate(std::abort);
            quiet_exit::install();
            body();
            ::_exit(99);
        }
        ::close(pipe[1]);
        QByteArray output;
        char buffer[256];
        for (ssize_t n; (n = ::read(pipe[0], buffer, sizeof buffer)) > 0;)
            output.append(buffer, n);
        ::close(pipe[0]);
        int status = 0;
        ::waitpid(child, &status, 0);
        return {WIFEXITED(status), WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status),
                output};
    }

    static void destroyJoinableThread()
    {
        const std::thread endless([] {
            for (;;)
                ::pause();
        });
    }

private slots:
    void abortsBeforeTheLoopReturned()
    {
        const End end = endOf(destroyJoinableThread);
        QVERIFY(!end.exited);
        QCOMPARE(end.code, SIGABRT);
    }

    void leavesWithTheStatusOfTheLoopAfterwards()
    {
        for (const int status : {0, 3}) {
            const End end = endOf([status] {
                quiet_exit::exitOnTerminate(status);
                destroyJoinableThread();
            });
            QVERIFY(end.exited);
            QCOMPARE(end.code, status);
        }
    }

    void writesOutWhatWasPrinted()
    {
        const End end = endOf([] {
            std::printf("change to new baud rate");
            quiet_exit::exitOnTerminate(0);
            destroyJoinableThread();
        });
        QCOMPARE(end.output, "change to new baud rate");
    }

    void armPassesTheStatusOn() { QCOMPARE(quiet_exit::exitOnTerminate(7), 7); }

    void anotherThreadStillAborts()
    {
#ifdef __SANITIZE_THREAD__
        QSKIP("ThreadSanitizer takes the new thread for Qt Test's watchdog, which fork() left "
              "behind");
#endif
        const End end = endOf([] {
            quiet_exit::exitOnTerminate(0);
            std::thread([] { std::terminate(); }).join();
        });
        QVERIFY(!end.exited);
        QCOMPARE(end.code, SIGABRT);
    }

    void anUncaughtExceptionStillAborts()
    {
        const End end = endOf([] {
            quiet_exit::exitOnTerminate(0);
            const std::function<void()> defect = [] { throw std::runtime_error("a defect"); };
            [&]() noexcept { defect(); }();
        });
        QVERIFY(!end.exited);
        QCOMPARE(end.code, SIGABRT);
    }
};

QTEST_APPLESS_MAIN(TestQuietExit)
#include "test_quiet_exit.moc"
