// With the flags of a release a program that writes past the end of a buffer ends with SIGABRT.
// Each case runs in a child process.

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QTest>

namespace {

char g_buffer[16];

// The signal that ends a child in which the function is called; 0 if it returns.
template <typename Function>
int signalOf(Function function)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
        if (!std::freopen("/dev/null", "w", stderr)) // hides the C library's message
            _exit(1);
        function();
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        qFatal("no child");
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

// Writes two characters, whatever the length. So only a check of the buffer's size can detect a
// wrong length.
void print(std::size_t length)
{
    static_cast<void>(std::snprintf(g_buffer, length, "%d", 1));
}

[[gnu::noipa]] void writeBehindArray(std::size_t length)
{
    volatile char array[16] = {};
    volatile char *place = array;
    for (std::size_t i = 0; i < length; ++i)
        place[i] = 1;
}

} // namespace

class TestOverflow : public QObject
{
    Q_OBJECT

private slots:
    void aLengthThatFitsIsFine()
    {
        volatile std::size_t length = sizeof g_buffer;
        QCOMPARE(signalOf([&] { print(length); }), 0);
        QCOMPARE(signalOf([&] { writeBehindArray(length); }), 0);
    }

    void aLengthThatIsWrongIsFoundInTheCall()
    {
        volatile std::size_t length = sizeof g_buffer + 1;
        QCOMPARE(signalOf([&] { print(length); }), SIGABRT);
    }

    void anOverwrittenStackIsFoundAtTheReturn()
    {
        QCOMPARE(signalOf([] { writeBehindArray(48); }), SIGABRT);
    }
};

QTEST_APPLESS_MAIN(TestOverflow)
#include "test_overflow.moc"
