#pragma once

#include "connection.h"
#include "frame_codec.h"
#include "records.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <string>

namespace oru_test {

// The SDK is one per process: every test executable starts it once, with
// server names of its own and its log file in a private data folder.
struct Sdk {
    QString messageServer;
    QString streamServer;
    QString logPath;
};

// Starts the SDK (once per process) and returns where it listens and logs.
const Sdk &startSdk();

// The log's lines so far, each with its prefix and the library's tag removed:
// just the text the library logged, e.g. "new connection to message server: 12".
QStringList logTexts();
// Same, with the level kept in front: "info new connection ...".
QStringList logLevelTexts();

// Remembers the log's length; lines() returns the texts logged since.
class LogCursor
{
public:
    LogCursor();
    QStringList lines() const;
    QStringList levelLines() const;

private:
    int start;
};

// A request of type M carrying only its request id, serialised.
template <class M>
QByteArray requestWithId(const std::string &id)
{
    M m;
    m.set_request_id(id);
    return QByteArray::fromStdString(m.SerializeAsString());
}

// A control connection that said hello or not, ready to use.
bool connectControl(oru_client::Connection *connection, bool hello = false);
bool connectStream(oru_client::Connection *connection);

// Connects and waits until the server has logged the connection, so that its
// line does not land in the caller's next log check. connectNamed returns the
// server's name for the socket (the descriptor it accepted), "" on failure.
QString connectNamed(oru_client::Connection *connection, bool hello = false);
bool connectControlLogged(oru_client::Connection *connection);
bool connectStreamLogged(oru_client::Connection *connection);
// Sends a device search on `connection` and waits for its signal: the server
// has then read everything sent before it. Logs "client search devs cmd".
bool controlBarrier(oru_client::Connection *connection);

// A case run both ways: one bool column, the row for false first.
void addBoolRows(const char *column, const char *whenFalse, const char *whenTrue);
// Disconnects and waits until the server has logged it, for the same reason.
bool disconnectLogged(oru_client::Connection *connection);

// Waits for done() the way a host waits inside a slot: in a local QEventLoop,
// or (eventLoop false) in a processEvents() loop. False after 5 s.
bool waitInLocalLoop(bool eventLoop, const std::function<bool()> &done);

// Counts local sockets deleted (deleteLater) while it lives: a host slot that
// waits must not see the socket whose frame it serves go away under it.
class SocketDeletions : public QObject
{
public:
    SocketDeletions();
    int count = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace oru_test

// Scenarios that end the SDK's servers run only in a process of their own
// (CTest starts one per scenario, naming the function on the command line).
#define ORU_REQUIRE_OWN_PROCESS()                                                                                      \
    do {                                                                                                               \
        if (!QCoreApplication::arguments().contains(QLatin1String(QTest::currentTestFunction())))                      \
            QSKIP("runs in a process of its own");                                                                     \
    } while (false)
