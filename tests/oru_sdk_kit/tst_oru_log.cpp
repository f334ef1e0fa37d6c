#include <oru_sdk_kit/oru_log.h>

#include <QtTest>

#include <chrono>
#include <iostream>
#include <limits>
#include <thread>
#include <vector>

namespace {

const QString kTag = QStringLiteral("[oru_test:]    ");
const QString kCategory = QStringLiteral("oru_test_log");

constexpr int kThreads = 8;
constexpr int kLinesPerThread = 20000;

// Child side. The logger is set up once per process, so every scenario runs
// in a fresh child that performs the operations named on its command line:
// init[=other file name], flush, trace|info|error=<percent-encoded text>,
// lines=N (numbered info lines), threads, busy (endless detached loggers),
// wait (until stdin ends). NAME=value entries in upper case set the environment.

int childMain(const QString &path, const QStringList &ops)
{
    using LogFn = void (*)(const QString &, const QString &);
    const QMap<QString, LogFn> logFns{{"trace", log_trace}, {"info", log_info}, {"error", log_error}};
    for (const QString &op : ops) {
        const QString name = op.section(QLatin1Char('='), 0, 0);
        const QString arg =
            QString::fromUtf8(QByteArray::fromPercentEncoding(op.section(QLatin1Char('='), 1).toLatin1()));
        if (name == QLatin1String("init")) {
            if (arg.isEmpty())
                init_oru_log(path, kCategory);
            else // a second init, of a file next to the first
                init_oru_log(QFileInfo(path).dir().filePath(arg), QStringLiteral("second"));
        } else if (name == QLatin1String("flush")) {
            flush_oru_log();
        } else if (const auto fn = logFns.value(name)) {
            fn(arg, kTag);
        } else if (name == QLatin1String("lines")) {
            for (int i = 0, n = arg.toInt(); i < n; ++i)
                log_info(QStringLiteral("line %1 ").arg(i, 6, 10, QLatin1Char('0')) + QString(40, 'x'), kTag);
        } else if (name == "threads" || name == "busy") {
            // Busy threads never stop: they are still logging while the process exits.
            const bool busy = name == "busy";
            std::vector<std::thread> threads;
            for (int t = 0; t < kThreads; ++t)
                threads.emplace_back([t, busy] {
                    const QString tag = kTag; // the global may be destroyed while we still run
                    for (int i = 0; busy || i < kLinesPerThread; ++i) {
                        log_info(QStringLiteral("t%1 n%2").arg(t).arg(i), tag);
                        std::this_thread::sleep_for(std::chrono::microseconds(busy ? 20 : 0));
                    }
                });
            for (std::thread &thread : threads)
                busy ? thread.detach() : thread.join();
        } else if (name == QLatin1String("wait")) {
            std::cin.ignore(std::numeric_limits<std::streamsize>::max());
        } else {
            std::cerr << "unknown operation " << qPrintable(op) << std::endl;
            return 2;
        }
    }
    return 0; // without a flush, the exit handler must write what is queued
}

// Parent side. The log variables are cleared unless `ops` set them.
void startChild(QProcess &p, const QString &path, const QStringList &ops)
{
    QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"ORU_LOG_LEVEL", "ORU_LOG_MAX_BYTES", "ORU_LOG_MAX_FILES"})
        e.remove(QLatin1String(name));
    QStringList args{QStringLiteral("--child"), path};
    for (const QString &op : ops) {
        if (op.at(0).isUpper())
            e.insert(op.section(QLatin1Char('='), 0, 0), op.section(QLatin1Char('='), 1));
        else
            args << op;
    }
    p.setProcessEnvironment(e);
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(QCoreApplication::applicationFilePath(), args);
}

// Empty when the child ran to a clean exit, else why not.
QString runChild(const QString &path, const QStringList &ops)
{
    QProcess p;
    startChild(p, path, ops);
    if (p.waitForFinished(20000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0)
        return {};
    return QStringLiteral("child failed (still running: %1, exit code %2): %3") // ~QProcess kills it
        .arg(p.state() == QProcess::Running)
        .arg(p.exitCode())
        .arg(ops.join(QLatin1Char(' ')).left(200));
}

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The live file and its rotated copies, oldest first.
QStringList logFiles(const QString &path)
{
    QStringList files;
    for (int i = 1; QFileInfo::exists(path + QLatin1Char('.') + QString::number(i)); ++i)
        files.prepend(path + QLatin1Char('.') + QString::number(i));
    return QFileInfo::exists(path) ? files << path : files;
}

// Every line of the live file and its rotated copies, oldest first.
QList<QByteArray> logLines(const QString &path)
{
    QByteArray all;
    for (const QString &file : logFiles(path))
        all += readFile(file);
    all.chop(all.endsWith('\n') ? 1 : 0);
    return all.isEmpty() ? QList<QByteArray>() : all.split('\n');
}

const QString kStamp = QStringLiteral(R"((\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3}))");

// Whole line: stamp, level, our category, tag, then `text` (a pattern).
QRegularExpression linePattern(const QString &level, const QString &text)
{
    return QRegularExpression(QLatin1Char('^') + kStamp + QStringLiteral(" \\[") + level + QStringLiteral("\\] \\[")
                              + kCategory + QStringLiteral("\\] ") + QRegularExpression::escape(kTag) + text
                              + QLatin1Char('$'));
}

const QRegularExpression kNumbered = linePattern(QStringLiteral("info"), QStringLiteral(R"(line (\d{6}) x{40})"));
const QRegularExpression kDropped(QLatin1Char('^') + kStamp + QStringLiteral(" \\[error\\] \\[") + kCategory
                                  + QStringLiteral("\\] (\\d+) log lines dropped$"));

const QRegularExpression kThreadLine = linePattern(QStringLiteral("info"), QStringLiteral(R"(t(\d) n(\d+))"));

// Empty when `lines` are the numbered lines first, first + 1, ...; else the
// first line that is not.
QString checkSequence(const QList<QByteArray> &lines, int first)
{
    for (int i = 0; i < lines.size(); ++i) {
        const QRegularExpressionMatch m = kNumbered.match(QString::fromUtf8(lines[i]));
        if (!m.hasMatch() || m.captured(2).toInt() != first + i)
            return QStringLiteral("expected number %1, got: %2").arg(first + i).arg(QString::fromUtf8(lines[i]));
    }
    return {};
}

// Checks that a helper returning an error text returned none.
#define VERIFY_OK(expr)                                                                                                \
    do {                                                                                                               \
        const QString why_ = (expr);                                                                                   \
        QVERIFY2(why_.isEmpty(), qPrintable(why_));                                                                    \
    } while (false)

} // namespace

class TestOruLog : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp_;
    int cases_ = 0;

    QString freshPath(const QString &relative = QStringLiteral("x.log"))
    {
        return tmp_.filePath(QStringLiteral("case%1/").arg(++cases_) + relative);
    }

private slots:
    void initTestCase() { QVERIFY(tmp_.isValid()); }

    void lineFormat_data()
    {
        QTest::addColumn<QString>("level");
        QTest::addColumn<QString>("text");

        QTest::newRow("info") << "info" << QStringLiteral("hello world");
        QTest::newRow("error, non-ASCII") << "error" << QString::fromUtf8("ünïcödé ✓ 日本 😀");
        QTest::newRow("trace, kept verbatim") << "trace" << QStringLiteral("  [x] %1 \\ \t 100% = end  ");
        QTest::newRow("embedded newline") << "info" << QStringLiteral("first\nsecond");
        QTest::newRow("empty text") << "error" << QString();
    }

    void lineFormat()
    {
        QFETCH(QString, level);
        QFETCH(QString, text);

        // The folder does not exist yet: the logger creates it.
        const QString path = freshPath(QStringLiteral("deep/er/x.log"));
        const QString op = level + QLatin1Char('=') + QString::fromLatin1(text.toUtf8().toPercentEncoding());
        const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
        VERIFY_OK(runChild(path, {QStringLiteral("init"), op, QStringLiteral("flush")}));
        const QDateTime after = QDateTime::currentDateTime().addSecs(1);

        const QByteArray content = readFile(path);
        const QByteArray tail =
            " [" + level.toUtf8() + "] [" + kCategory.toUtf8() + "] " + kTag.toUtf8() + text.toUtf8() + '\n';
        QCOMPARE(content.mid(23), tail);
        const QDateTime stamp =
            QDateTime::fromString(QString::fromLatin1(content.left(23)), QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
        QVERIFY2(stamp.isValid(), content.left(23).constData());
        QVERIFY(stamp >= before && stamp <= after);
    }

    void unwritablePathDoesNotBlock()
    {
        // A regular file where a folder should be: neither mkpath nor open can work.
        const QString blocker = freshPath(QStringLiteral("blocker"));
        QVERIFY(QDir().mkpath(QFileInfo(blocker).absolutePath()));
        QVERIFY(QFile(blocker).open(QIODevice::WriteOnly));
        VERIFY_OK(runChild(blocker + QStringLiteral("/sub/x.log"), {"init", "error=lost", "flush"}));
    }

    void rotation_data()
    {
        QTest::addColumn<int>("maxFiles");
        QTest::addColumn<bool>("keepsAll");

        QTest::newRow("enough backups keep every line") << 100 << true;
        QTest::newRow("two backups keep the newest") << 2 << false;
        QTest::newRow("no backups") << 0 << false;
    }

    void rotation()
    {
        QFETCH(int, maxFiles);
        QFETCH(bool, keepsAll);
        const int maxBytes = 4096, lines = 2000;
        const QString path = freshPath();
        VERIFY_OK(runChild(path,
                           {"ORU_LOG_MAX_BYTES=" + QString::number(maxBytes),
                            "ORU_LOG_MAX_FILES=" + QString::number(maxFiles), "init", "lines=" + QString::number(lines),
                            "flush"}));

        const QStringList files = logFiles(path);
        if (keepsAll)
            QVERIFY2(files.size() > 5, qPrintable(files.join(QLatin1Char(' '))));
        else
            QCOMPARE(files.size(), maxFiles + 1);
        for (const QString &file : files) {
            const qint64 size = QFileInfo(file).size();
            QVERIFY2(size > 0 && size <= maxBytes, qPrintable(file));
            QVERIFY(readFile(file).endsWith('\n')); // no line is split across files
        }

        // Consecutive numbers across all files, ending with the last line logged.
        const QList<QByteArray> all = logLines(path);
        if (keepsAll)
            QCOMPARE(all.size(), lines);
        VERIFY_OK(checkSequence(all, lines - all.size()));
    }

    // A file may grow to exactly the limit: a limit the size of the first ten
    // lines keeps those ten in the first file.
    void fileFillsUpToTheLimit()
    {
        const QString probe = freshPath();
        VERIFY_OK(runChild(probe, {"init", "lines=10", "flush"}));
        const qint64 exact = QFileInfo(probe).size();
        const QString path = freshPath();
        VERIFY_OK(runChild(
            path, {"ORU_LOG_MAX_BYTES=" + QString::number(exact), "ORU_LOG_MAX_FILES=5", "init", "lines=11", "flush"}));
        QCOMPARE(QFileInfo(logFiles(path).first()).size(), exact);
    }

    void concurrentWritersLoseNothing()
    {
        const QString path = freshPath();
        VERIFY_OK(runChild(path, {"init", "threads", "flush"}));

        const QList<QByteArray> all = logLines(path);
        QCOMPARE(all.size(), kThreads * kLinesPerThread);

        // Each thread's lines appear whole and in the order it logged them.
        std::vector<int> next(kThreads, 0);
        for (const QByteArray &line : all) {
            const QRegularExpressionMatch m = kThreadLine.match(QString::fromLatin1(line));
            QVERIFY2(m.hasMatch(), line.constData());
            const int t = m.captured(2).toInt();
            QVERIFY(t < kThreads);
            QCOMPARE(m.captured(3).toInt(), next[std::size_t(t)]++);
        }
    }

    void linesWritten_data()
    {
        QTest::addColumn<QStringList>("ops");
        QTest::addColumn<QStringList>("expected"); // "level text"

        const auto level = [](const char *name) { return QStringList{QStringLiteral("ORU_LOG_LEVEL=") + name}; };
        const QStringList three{"trace=trace line", "info=info line", "error=error line"};
        const QStringList afterInit = QStringList{"init"} + three + QStringList{"flush"};
        // The flush before init has nothing to wait for and must not block.
        const QStringList beforeInit = three + QStringList{"flush", "init", "info=after init", "flush"};
        const QStringList all{"trace trace line", "info info line", "error error line"};
        const QStringList infoUp{"info info line", "error error line"};
        const QStringList errorOnly{"error error line"};

        QTest::newRow("unset") << afterInit << all;
        QTest::newRow("trace") << level("trace") + afterInit << all;
        QTest::newRow("info") << level("info") + afterInit << infoUp;
        QTest::newRow("INFO upper case") << level("INFO") + afterInit << infoUp;
        QTest::newRow("Error mixed case") << level("Error") + afterInit << errorOnly;
        QTest::newRow("off") << level("off") + afterInit << QStringList();
        QTest::newRow("unknown means trace") << level("verbose") + afterInit << all;
        QTest::newRow("before init") << beforeInit << all + QStringList{"info after init"};
        QTest::newRow("before init, threshold applies") << level("error") + beforeInit << errorOnly;
        QTest::newRow("second init is ignored")
            << QStringList{"init", "init=other.log", "info=after reinit", "flush"} << QStringList{"info after reinit"};
    }

    void linesWritten()
    {
        QFETCH(QStringList, ops);
        QFETCH(QStringList, expected);

        const QString path = freshPath();
        VERIFY_OK(runChild(path, ops));

        // Created even when nothing is written, and the only file.
        QCOMPARE(QFileInfo(path).dir().entryList(QDir::Files), QStringList{"x.log"});
        const QList<QByteArray> lines = logLines(path);
        QCOMPARE(lines.size(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            const QRegularExpression re =
                linePattern(expected[i].section(QLatin1Char(' '), 0, 0),
                            QRegularExpression::escape(expected[i].section(QLatin1Char(' '), 1)));
            QVERIFY2(re.match(QString::fromLatin1(lines[i])).hasMatch(), lines[i].constData());
        }
    }

    void dropsAndCountsWhenQueueIsFull()
    {
        // Before init nothing drains the queue, so this overflows it for sure.
        const int total = 300000;
        const QString path = freshPath();
        VERIFY_OK(runChild(path, {"ORU_LOG_MAX_BYTES=1073741824", "lines=" + QString::number(total), "init", "flush"}));

        QVERIFY(QFileInfo(path).size() < (20 << 20)); // 16 MiB queued, plus the category added at init
        QList<QByteArray> lines = logLines(path);
        QVERIFY(lines.size() > 1);
        const QRegularExpressionMatch dropped = kDropped.match(QString::fromLatin1(lines.takeLast()));
        QVERIFY(dropped.hasMatch());
        QCOMPARE(dropped.captured(2).toInt(), total - lines.size());

        // The oldest lines are the ones kept.
        VERIFY_OK(checkSequence(lines, 0));
    }

    void linesReachDiskWithoutFlush()
    {
        // The child stays alive, without a flush, until we close its stdin.
        const QString path = freshPath();
        QProcess p;
        startChild(p, path, {"init", "info=alive", "wait"});
        QTRY_VERIFY_WITH_TIMEOUT(readFile(path).endsWith(kTag.toUtf8() + "alive\n"), 5000);
        QCOMPARE(p.state(), QProcess::Running);
        p.closeWriteChannel();
        QVERIFY(p.waitForFinished(5000));
        QCOMPARE(p.exitCode(), 0);
    }

    void writtenAtExitWithoutFlush_data()
    {
        QTest::addColumn<QStringList>("ops");

        QTest::newRow("quiet") << QStringList{"init"};
        // Threads that keep logging while the process exits must neither crash it
        // nor push out the lines logged before.
        for (int round = 1; round <= 3; ++round)
            QTest::newRow(qPrintable(QStringLiteral("busy threads, round %1").arg(round)))
                << QStringList{"init", "busy"};
    }

    void writtenAtExitWithoutFlush()
    {
        QFETCH(QStringList, ops);
        const QString path = freshPath();
        VERIFY_OK(
            runChild(path, ops + QStringList{"ORU_LOG_MAX_BYTES=1048576", "ORU_LOG_MAX_FILES=100", "lines=20000"}));

        QList<QByteArray> lines;
        for (const QByteArray &line : logLines(path)) {
            if (!kThreadLine.match(QString::fromLatin1(line)).hasMatch()
                && !kDropped.match(QString::fromLatin1(line)).hasMatch())
                lines << line;
        }
        QCOMPARE(lines.size(), 20000);
        VERIFY_OK(checkSequence(lines, 0));
    }
};

int main(int argc, char **argv)
{
    if (argc >= 3 && qstrcmp(argv[1], "--child") == 0) {
        QStringList ops;
        for (int i = 3; i < argc; ++i)
            ops << QString::fromLocal8Bit(argv[i]);
        return childMain(QString::fromLocal8Bit(argv[2]), ops);
    }
    QCoreApplication app(argc, argv);
    TestOruLog test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_oru_log.moc"
