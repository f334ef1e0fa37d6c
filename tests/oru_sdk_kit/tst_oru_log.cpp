#include <oru_sdk_kit/oru_log.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

const QString kTag = QStringLiteral("[oru_test:]    ");
const QString kCategory = QStringLiteral("oru_test_log");

constexpr int kThreads = 8;
constexpr int kLinesPerThread = 20000;

// ---------------------------------------------------------------------------
// Child side: each scenario gets a fresh process, because the logger can be
// initialised only once per process.

void logAt(const QString &level, const QString &text)
{
    if (level == QLatin1String("trace"))
        log_trace(text, kTag);
    else if (level == QLatin1String("info"))
        log_info(text, kTag);
    else
        log_error(text, kTag);
}

QString numbered(const char *what, int n)
{
    return QStringLiteral("%1 %2").arg(QLatin1String(what)).arg(n, 6, 10, QLatin1Char('0'));
}

int childMain(const QString &scenario, const QString &path, const QStringList &args)
{
    if (scenario == QLatin1String("format")) {
        init_oru_log(path, kCategory);
        logAt(args.value(0), QString::fromUtf8(QByteArray::fromHex(args.value(1).toLatin1())));
        flush_oru_log();
        return 0;
    }
    if (scenario == QLatin1String("levels")) {
        init_oru_log(path, kCategory);
        log_trace(QStringLiteral("trace line"), kTag);
        log_info(QStringLiteral("info line"), kTag);
        log_error(QStringLiteral("error line"), kTag);
        flush_oru_log();
        return 0;
    }
    if (scenario == QLatin1String("count")) {
        init_oru_log(path, kCategory);
        const QString padding(40, QLatin1Char('x'));
        for (int i = 0, n = args.value(0).toInt(); i < n; ++i)
            log_info(numbered("line", i) + QLatin1Char(' ') + padding, kTag);
        flush_oru_log();
        return 0;
    }
    if (scenario == QLatin1String("threads")) {
        init_oru_log(path, kCategory);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([t] {
                for (int i = 0; i < kLinesPerThread; ++i)
                    log_info(QStringLiteral("t%1 n%2").arg(t).arg(i), kTag);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        flush_oru_log();
        return 0;
    }
    if (scenario == QLatin1String("preinit")) {
        log_trace(QStringLiteral("early trace"), kTag);
        log_info(QStringLiteral("early info"), kTag);
        log_error(QStringLiteral("early error"), kTag);
        flush_oru_log(); // nothing to wait for yet; must not block
        init_oru_log(path, kCategory);
        log_info(QStringLiteral("after init"), kTag);
        flush_oru_log();
        return 0;
    }
    if (scenario == QLatin1String("flood")) {
        const QString padding(60, QLatin1Char('y'));
        for (int i = 0, n = args.value(0).toInt(); i < n; ++i)
            log_info(numbered("flood", i) + QLatin1Char(' ') + padding, kTag);
        init_oru_log(path, kCategory);
        flush_oru_log();
        return 0;
    }
    if (scenario == QLatin1String("prompt")) {
        // Driven step by step by the parent through stdin/stdout.
        init_oru_log(path, kCategory);
        log_info(QStringLiteral("prompt info"), kTag);
        std::cout << "logged info" << std::endl;
        std::string line;
        std::getline(std::cin, line);
        log_error(QStringLiteral("prompt error"), kTag);
        std::cout << "logged error" << std::endl;
        while (std::getline(std::cin, line)) {
        }
        return 0;
    }
    if (scenario == QLatin1String("exit")) {
        init_oru_log(path, kCategory);
        for (int i = 0, n = args.value(0).toInt(); i < n; ++i)
            log_info(numbered("exit", i), kTag);
        return 0; // no flush: the exit handler must write everything
    }
    if (scenario == QLatin1String("exitbusy")) {
        init_oru_log(path, kCategory);
        for (int t = 0; t < 4; ++t) {
            std::thread([t] {
                const QString text = QStringLiteral("busy thread %1").arg(t);
                const QString tag = kTag; // the global may be destroyed while we still run
                for (;;) {
                    log_info(text, tag);
                    std::this_thread::sleep_for(std::chrono::microseconds(20));
                }
            }).detach();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        log_info(QStringLiteral("main done"), kTag);
        return 0;
    }
    if (scenario == QLatin1String("reinit")) {
        init_oru_log(path, QStringLiteral("first"));
        init_oru_log(args.value(0), QStringLiteral("second"));
        log_info(QStringLiteral("after reinit"), kTag);
        flush_oru_log();
        return 0;
    }
    std::fprintf(stderr, "unknown scenario %s\n", qPrintable(scenario));
    return 2;
}

// ---------------------------------------------------------------------------
// Parent side

struct ChildRun
{
    bool ok = false;
    QString why;
};

QProcessEnvironment childEnvironment(const QMap<QString, QString> &env)
{
    QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
    e.remove(QStringLiteral("ORU_LOG_LEVEL"));
    e.remove(QStringLiteral("ORU_LOG_MAX_BYTES"));
    e.remove(QStringLiteral("ORU_LOG_MAX_FILES"));
    for (auto it = env.cbegin(); it != env.cend(); ++it)
        e.insert(it.key(), it.value());
    return e;
}

QStringList childArguments(const QString &scenario, const QString &path, const QStringList &extra)
{
    return QStringList{QStringLiteral("--child"), scenario, path} + extra;
}

ChildRun runChild(const QString &scenario, const QString &path, const QStringList &extra = {},
                  const QMap<QString, QString> &env = {})
{
    QProcess p;
    p.setProcessEnvironment(childEnvironment(env));
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(QCoreApplication::applicationFilePath(), childArguments(scenario, path, extra));
    ChildRun run;
    if (!p.waitForStarted(5000)) {
        run.why = QStringLiteral("child did not start");
        return run;
    }
    if (!p.waitForFinished(20000)) {
        p.kill();
        p.waitForFinished(5000);
        run.why = QStringLiteral("child %1 timed out").arg(scenario);
        return run;
    }
    if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        run.why = QStringLiteral("child %1 failed: status %2 code %3")
                      .arg(scenario)
                      .arg(p.exitStatus())
                      .arg(p.exitCode());
        return run;
    }
    run.ok = true;
    return run;
}

// The live file and its rotated copies, oldest first.
QStringList logFiles(const QString &path)
{
    QStringList files;
    for (int i = 1; QFileInfo::exists(path + QLatin1Char('.') + QString::number(i)); ++i)
        files.prepend(path + QLatin1Char('.') + QString::number(i));
    if (QFileInfo::exists(path))
        files.append(path);
    return files;
}

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QByteArray readAllLogs(const QString &path)
{
    QByteArray all;
    for (const QString &file : logFiles(path))
        all += readFile(file);
    return all;
}

QList<QByteArray> splitLines(const QByteArray &content)
{
    QList<QByteArray> lines = content.split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

const QString kStamp = QStringLiteral(R"((\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3}))");

// Whole line: stamp, level, our category, tag, then `text` (a pattern).
QRegularExpression linePattern(const QString &level, const QString &text)
{
    return QRegularExpression(QLatin1Char('^') + kStamp + QStringLiteral(" \\[") + level
                              + QStringLiteral("\\] \\[") + kCategory + QStringLiteral("\\] ")
                              + QRegularExpression::escape(kTag) + text + QLatin1Char('$'));
}

const QRegularExpression &droppedPattern()
{
    static const QRegularExpression re(QLatin1Char('^') + kStamp + QStringLiteral(" \\[error\\] \\[")
                                       + kCategory + QStringLiteral("\\] (\\d+) log lines dropped$"));
    return re;
}

bool waitForLine(QProcess &p, const QByteArray &expected)
{
    QElapsedTimer timer;
    timer.start();
    while (!p.canReadLine()) {
        if (timer.elapsed() > 5000 || !p.waitForReadyRead(5000 - int(timer.elapsed())))
            return false;
    }
    return p.readLine().trimmed() == expected;
}

// How long until `needle` shows up in the file, or -1 after `limitMs`.
qint64 msUntilInFile(const QString &path, const QByteArray &needle, int limitMs)
{
    QElapsedTimer timer;
    timer.start();
    do {
        if (readFile(path).contains(needle))
            return timer.elapsed();
        QThread::msleep(5);
    } while (timer.elapsed() < limitMs);
    return -1;
}

} // namespace

class TestOruLog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void lineFormat_data();
    void lineFormat();
    void createsFolder();
    void unwritablePathDoesNotBlock();
    void secondInitIsIgnored();
    void rotation_data();
    void rotation();
    void concurrentWritersLoseNothing();
    void levelThreshold_data();
    void levelThreshold();
    void logBeforeInit_data();
    void logBeforeInit();
    void dropsAndCountsWhenQueueIsFull();
    void linesReachDiskWithoutFlush();
    void writtenAtExitWithoutFlush();
    void exitWhileThreadsLog();

private:
    QString freshPath(const QString &relative = QStringLiteral("x.log"));

    QTemporaryDir tmp_;
    int cases_ = 0;
};

QString TestOruLog::freshPath(const QString &relative)
{
    return tmp_.filePath(QStringLiteral("case%1/").arg(++cases_) + relative);
}

void TestOruLog::initTestCase()
{
    QVERIFY(tmp_.isValid());
}

void TestOruLog::lineFormat_data()
{
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("text");

    QTest::newRow("info") << "info" << "hello world";
    QTest::newRow("error, non-ASCII") << "error" << QString::fromUtf8("ünïcödé ✓ 日本 😀");
    QTest::newRow("trace, kept verbatim") << "trace" << "  [x] %1 \\ \t 100% end  ";
    QTest::newRow("embedded newline") << "info" << "first\nsecond";
    QTest::newRow("empty text") << "error" << "";
}

void TestOruLog::lineFormat()
{
    QFETCH(QString, level);
    QFETCH(QString, text);

    const QString path = freshPath();
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    const ChildRun run = runChild(QStringLiteral("format"), path,
                                  {level, QString::fromLatin1(text.toUtf8().toHex())});
    QVERIFY2(run.ok, qPrintable(run.why));
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);

    const QByteArray content = readFile(path);
    const QByteArray tail = " [" + level.toUtf8() + "] [" + kCategory.toUtf8() + "] " + kTag.toUtf8()
                            + text.toUtf8() + '\n';
    QCOMPARE(content.size(), 23 + tail.size());
    QCOMPARE(content.mid(23), tail);

    const QDateTime stamp = QDateTime::fromString(QString::fromLatin1(content.left(23)),
                                                  QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
    QVERIFY2(stamp.isValid(), content.left(23).constData());
    QVERIFY(stamp >= before && stamp <= after);
}

void TestOruLog::createsFolder()
{
    const QString path = freshPath(QStringLiteral("deep/er/still/x.log"));
    QVERIFY(!QFileInfo::exists(QFileInfo(path).absolutePath()));

    const ChildRun run = runChild(QStringLiteral("levels"), path);
    QVERIFY2(run.ok, qPrintable(run.why));
    QVERIFY(QFileInfo(QFileInfo(path).absolutePath()).isDir());
    QCOMPARE(splitLines(readFile(path)).size(), 3);
}

void TestOruLog::unwritablePathDoesNotBlock()
{
    // A regular file where a folder should be: neither mkpath nor open can work.
    const QString blocker = freshPath(QStringLiteral("blocker"));
    QVERIFY(QDir().mkpath(QFileInfo(blocker).absolutePath()));
    QFile f(blocker);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.close();

    const ChildRun run = runChild(QStringLiteral("levels"), blocker + QStringLiteral("/sub/x.log"));
    QVERIFY2(run.ok, qPrintable(run.why));
}

void TestOruLog::secondInitIsIgnored()
{
    const QString first = freshPath(QStringLiteral("first.log"));
    const QString second = freshPath(QStringLiteral("second.log"));

    const ChildRun run = runChild(QStringLiteral("reinit"), first, {second});
    QVERIFY2(run.ok, qPrintable(run.why));
    QVERIFY(readFile(first).endsWith("[info] [first] " + kTag.toUtf8() + "after reinit\n"));
    QVERIFY(!QFileInfo::exists(second));
}

void TestOruLog::rotation_data()
{
    QTest::addColumn<int>("maxBytes");
    QTest::addColumn<int>("maxFiles");
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("keepsAll");

    QTest::newRow("enough backups keep every line") << 4096 << 100 << 2000 << true;
    QTest::newRow("two backups keep the newest") << 4096 << 2 << 2000 << false;
    QTest::newRow("no backups") << 4096 << 0 << 2000 << false;
}

void TestOruLog::rotation()
{
    QFETCH(int, maxBytes);
    QFETCH(int, maxFiles);
    QFETCH(int, lines);
    QFETCH(bool, keepsAll);

    const QString path = freshPath();
    const ChildRun run = runChild(QStringLiteral("count"), path, {QString::number(lines)},
                                  {{QStringLiteral("ORU_LOG_MAX_BYTES"), QString::number(maxBytes)},
                                   {QStringLiteral("ORU_LOG_MAX_FILES"), QString::number(maxFiles)}});
    QVERIFY2(run.ok, qPrintable(run.why));

    const QStringList files = logFiles(path);
    if (keepsAll)
        QVERIFY2(files.size() > 5, qPrintable(files.join(QLatin1Char(' '))));
    else
        QCOMPARE(files.size(), maxFiles + 1);
    QVERIFY(!QFileInfo::exists(path + QLatin1Char('.') + QString::number(maxFiles + 1)));
    for (const QString &file : files) {
        const qint64 size = QFileInfo(file).size();
        QVERIFY2(size > 0 && size <= maxBytes, qPrintable(file));
        QVERIFY(readFile(file).endsWith('\n')); // no line is split across files
    }

    // Consecutive numbers across all files, ending with the last line logged.
    const QRegularExpression re = linePattern(QStringLiteral("info"), QStringLiteral(R"(line (\d{6}) x{40})"));
    const QList<QByteArray> all = splitLines(readAllLogs(path));
    QVERIFY(!all.isEmpty());
    int expected = keepsAll ? 0 : lines - all.size();
    for (const QByteArray &line : all) {
        const QRegularExpressionMatch m = re.match(QString::fromUtf8(line));
        QVERIFY2(m.hasMatch(), line.constData());
        QCOMPARE(m.captured(2).toInt(), expected);
        ++expected;
    }
    QCOMPARE(expected, lines);
}

void TestOruLog::concurrentWritersLoseNothing()
{
    const QString path = freshPath();
    const ChildRun run = runChild(QStringLiteral("threads"), path);
    QVERIFY2(run.ok, qPrintable(run.why));

    const QRegularExpression re = linePattern(QStringLiteral("info"), QStringLiteral(R"(t(\d) n(\d+))"));
    const QList<QByteArray> all = splitLines(readAllLogs(path));
    QCOMPARE(all.size(), kThreads * kLinesPerThread);

    // Each thread's lines appear whole and in the order it logged them.
    std::vector<int> next(kThreads, 0);
    for (const QByteArray &line : all) {
        const QRegularExpressionMatch m = re.match(QString::fromLatin1(line));
        QVERIFY2(m.hasMatch(), line.constData());
        const int t = m.captured(2).toInt();
        QVERIFY(t >= 0 && t < kThreads);
        QCOMPARE(m.captured(3).toInt(), next[std::size_t(t)]);
        ++next[std::size_t(t)];
    }
    for (int n : next)
        QCOMPARE(n, kLinesPerThread);
}

void TestOruLog::levelThreshold_data()
{
    QTest::addColumn<QString>("env"); // null: variable not set
    QTest::addColumn<QStringList>("levels");

    const QStringList all{QStringLiteral("trace"), QStringLiteral("info"), QStringLiteral("error")};
    QTest::newRow("unset") << QString() << all;
    QTest::newRow("trace") << "trace" << all;
    QTest::newRow("info") << "info" << QStringList{"info", "error"};
    QTest::newRow("INFO upper case") << "INFO" << QStringList{"info", "error"};
    QTest::newRow("error") << "error" << QStringList{"error"};
    QTest::newRow("Error mixed case") << "Error" << QStringList{"error"};
    QTest::newRow("off") << "off" << QStringList();
    QTest::newRow("unknown means trace") << "verbose" << all;
}

void TestOruLog::levelThreshold()
{
    QFETCH(QString, env);
    QFETCH(QStringList, levels);

    QMap<QString, QString> vars;
    if (!env.isNull())
        vars.insert(QStringLiteral("ORU_LOG_LEVEL"), env);
    const QString path = freshPath();
    const ChildRun run = runChild(QStringLiteral("levels"), path, {}, vars);
    QVERIFY2(run.ok, qPrintable(run.why));

    QVERIFY(QFileInfo::exists(path)); // created even when nothing is written
    const QList<QByteArray> lines = splitLines(readFile(path));
    QCOMPARE(lines.size(), levels.size());
    for (int i = 0; i < levels.size(); ++i) {
        const QRegularExpression re = linePattern(levels[i], levels[i] + QStringLiteral(" line"));
        QVERIFY2(re.match(QString::fromLatin1(lines[i])).hasMatch(), lines[i].constData());
    }
}

void TestOruLog::logBeforeInit_data()
{
    QTest::addColumn<QString>("env");
    QTest::addColumn<QStringList>("expected"); // "level:text"

    QTest::newRow("all levels") << QString()
                                << QStringList{"trace:early trace", "info:early info", "error:early error",
                                               "info:after init"};
    QTest::newRow("threshold applies to early lines")
        << "error" << QStringList{"error:early error"};
}

void TestOruLog::logBeforeInit()
{
    QFETCH(QString, env);
    QFETCH(QStringList, expected);

    QMap<QString, QString> vars;
    if (!env.isNull())
        vars.insert(QStringLiteral("ORU_LOG_LEVEL"), env);
    const QString path = freshPath();
    const ChildRun run = runChild(QStringLiteral("preinit"), path, {}, vars);
    QVERIFY2(run.ok, qPrintable(run.why));

    const QList<QByteArray> lines = splitLines(readFile(path));
    QCOMPARE(lines.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i) {
        const QString level = expected[i].section(QLatin1Char(':'), 0, 0);
        const QString text = expected[i].section(QLatin1Char(':'), 1);
        const QRegularExpression re = linePattern(level, QRegularExpression::escape(text));
        QVERIFY2(re.match(QString::fromLatin1(lines[i])).hasMatch(), lines[i].constData());
    }
}

void TestOruLog::dropsAndCountsWhenQueueIsFull()
{
    // Before init nothing drains the queue, so this overflows it for sure.
    const int total = 300000;
    const QString path = freshPath();
    const ChildRun run = runChild(QStringLiteral("flood"), path, {QString::number(total)},
                                  {{QStringLiteral("ORU_LOG_MAX_BYTES"), QString::number(1 << 30)}});
    QVERIFY2(run.ok, qPrintable(run.why));

    const QByteArray content = readFile(path);
    QVERIFY(content.size() < (20 << 20)); // 16 MiB queued, plus the category added at init
    const QList<QByteArray> lines = splitLines(content);
    QVERIFY(lines.size() > 1);

    const QRegularExpressionMatch dropped = droppedPattern().match(QString::fromLatin1(lines.last()));
    QVERIFY2(dropped.hasMatch(), lines.last().constData());
    const int kept = lines.size() - 1;
    QVERIFY(kept > 0);
    QCOMPARE(dropped.captured(2).toInt(), total - kept);

    // The oldest lines are the ones kept.
    const QRegularExpression re = linePattern(QStringLiteral("info"), QStringLiteral(R"(flood (\d{6}) y{60})"));
    for (int i = 0; i < kept; ++i) {
        const QRegularExpressionMatch m = re.match(QString::fromLatin1(lines[i]));
        QVERIFY2(m.hasMatch(), lines[i].constData());
        QCOMPARE(m.captured(2).toInt(), i);
    }
}

void TestOruLog::linesReachDiskWithoutFlush()
{
    const QString path = freshPath();
    QProcess p;
    p.setProcessEnvironment(childEnvironment({}));
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(QCoreApplication::applicationFilePath(), childArguments(QStringLiteral("prompt"), path, {}));
    QVERIFY(p.waitForStarted(5000));
    auto stopChild = qScopeGuard([&p] {
        p.closeWriteChannel();
        if (!p.waitForFinished(5000))
            p.kill();
        p.waitForFinished(5000);
    });

    // Plain lines go out with the periodic write (about every 200 ms).
    QVERIFY(waitForLine(p, "logged info"));
    const qint64 infoMs = msUntilInFile(path, kTag.toUtf8() + "prompt info\n", 3000);
    QVERIFY2(infoMs >= 0, "info line not written within 3 s");

    // Error lines are written at once.
    p.write("go\n");
    QVERIFY(waitForLine(p, "logged error"));
    const qint64 errorMs = msUntilInFile(path, kTag.toUtf8() + "prompt error\n", 1000);
    QVERIFY2(errorMs >= 0, "error line not written within 1 s");

    stopChild.dismiss();
    p.closeWriteChannel();
    QVERIFY(p.waitForFinished(5000));
    QCOMPARE(p.exitCode(), 0);
}

void TestOruLog::writtenAtExitWithoutFlush()
{
    const int total = 20000;
    const QString path = freshPath();
    const ChildRun run = runChild(QStringLiteral("exit"), path, {QString::number(total)});
    QVERIFY2(run.ok, qPrintable(run.why));

    const QRegularExpression re = linePattern(QStringLiteral("info"), QStringLiteral(R"(exit (\d{6}))"));
    const QList<QByteArray> lines = splitLines(readAllLogs(path));
    QCOMPARE(lines.size(), total);
    for (int i = 0; i < total; ++i) {
        const QRegularExpressionMatch m = re.match(QString::fromLatin1(lines[i]));
        QVERIFY2(m.hasMatch(), lines[i].constData());
        QCOMPARE(m.captured(2).toInt(), i);
    }
}

void TestOruLog::exitWhileThreadsLog()
{
    const QRegularExpression busy = linePattern(QStringLiteral("info"), QStringLiteral(R"(busy thread \d)"));
    const QRegularExpression done = linePattern(QStringLiteral("info"), QStringLiteral("main done"));

    for (int round = 0; round < 3; ++round) {
        const QString path = freshPath();
        const ChildRun run = runChild(QStringLiteral("exitbusy"), path, {},
                                      {{QStringLiteral("ORU_LOG_MAX_BYTES"), QStringLiteral("1048576")},
                                       {QStringLiteral("ORU_LOG_MAX_FILES"), QStringLiteral("2")}});
        QVERIFY2(run.ok, qPrintable(run.why));

        bool sawDone = false;
        for (const QByteArray &line : splitLines(readAllLogs(path))) {
            const QString s = QString::fromLatin1(line);
            if (done.match(s).hasMatch())
                sawDone = true;
            else
                QVERIFY2(busy.match(s).hasMatch() || droppedPattern().match(s).hasMatch(), line.constData());
        }
        QVERIFY(sawDone);
    }
}

int main(int argc, char **argv)
{
    if (argc >= 4 && std::strcmp(argv[1], "--child") == 0) {
        QStringList extra;
        for (int i = 4; i < argc; ++i)
            extra << QString::fromLocal8Bit(argv[i]);
        return childMain(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]), extra);
    }
    QCoreApplication app(argc, argv);
    TestOruLog test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_oru_log.moc"
