#pragma once

#include "client.h"
#include "record_view.h"
#include "stream_client.h"

#include <QCommandLineParser>
#include <QJsonDocument>
#include <QTextStream>

#include <limits>
#include <memory>

namespace oru_cli {

using oru_client::Client;
using oru_client::PendingCall;
using oru_client::Reply;
using oru_client::StreamClient;

// Exit codes.
enum Exit { Ok = 0, Failed = 1, Usage = 2, NoGateway = 3, TimedOut = 4 };

// Ends the command: one line on stderr and the exit code.
struct Failure {
    int code;
    QString text;
    int gatewayCode = 0; // the answer's error code, when the gateway gave one
};

QDateTime parseTime(const QString &text); // invalid when it is no time

// What a stream run received.
struct StreamStats {
    int frames = 0;
    qint64 bytes = 0;
    double seconds = 0;
    uint offsetTime = 0, duration = 0;
    QDateTime currentTime;
    QList<StreamEvent> events;
    double fps() const { return seconds > 0 ? frames / seconds : 0; }
    double rate() const { return seconds > 0 ? bytes / seconds : 0; }
};

// One command's arguments, connections and output.
class Context
{
public:
    explicit Context(QCommandLineParser &parser);

    // ---- Arguments (a missing or bad one throws Failure{Usage}) ----
    bool has(const QString &name) const { return parser.isSet(name); }
    QStringList values(const QString &name) const { return parser.values(name); }
    QString value(const QString &name, const QString &fallback = QString()) const;
    QString need(const QString &name) const;
    int number(const QString &name, int fallback) const;
    // A number within [min, max]; anything else is a usage error that says the range.
    int number(const QString &name, int fallback, int min, int max) const;
    QDateTime time(const QString &name, const QDateTime &fallback) const;
    // Index of the word given to --name in words (a number is taken as is).
    int choose(const QString &name, const QStringList &words, int fallback) const;
    QString dev() const { return need(QStringLiteral("dev")); }
    QStringList devs() const;
    int channel() const { return number(QStringLiteral("channel"), 1, 1, std::numeric_limits<int>::max()); }
    QString text(const QString &name) const; // "@file" reads the file
    int action = -1;                         // index of the command's action word

    // ---- Connections (failing to connect throws Failure{NoGateway}) ----
    Client &control();
    StreamClient &stream();
    // Makes sure commands sent without an answer have left.
    void flush();

    // ---- Output ----
    bool json = false;
    int timeoutMs = 5000;
    QTextStream out;
    template <class T>
    int show(const Reply<T> &reply)
    {
        reply.wait(timeoutMs + 1000);
        check(reply.call());
        print(toJson(reply.value()), textLines(reply.value()));
        return Ok;
    }
    void check(const PendingCall *call) const; // throws on failure
    // The answered value of a call that must succeed (read before a write).
    template <class T>
    T answer(const Reply<T> &reply)
    {
        reply.wait(timeoutMs + 1000);
        check(reply.call());
        return reply.value();
    }
    void print(const QJsonValue &json, const QStringList &text);
    // Runs an opened stream for `seconds` (stopping early at its end),
    // writing its data to `file` when given, with a progress line on a
    // terminal. Controls given run once at their time. A stream that stops
    // sending for the timeout (outside a pause) or whose connection drops
    // fails with TimedOut or NoGateway, whatever it received before.
    struct Step {
        double at;
        std::function<void(StreamClient &)> action;
        int pause = 0; // 1: the gateway goes quiet on purpose from here, -1: until here
    };
    // `source` is the channel asked for, to find the reason of a refusal.
    StreamStats runStream(StreamClient &s, const QString &label, double seconds, const QString &file,
                          const QList<Step> &steps = {}, const ChannelId &source = {});
    // A stream connection of its own (one stream per socket).
    std::unique_ptr<StreamClient> newStream();
    // --verbose: a line on stderr per frame of `conn`.
    void trace(oru_client::Connection &conn);
    void printStream(const QString &label, const StreamStats &stats, const QString &file);

private:
    QCommandLineParser &parser;
    std::unique_ptr<Client> client;
    std::unique_ptr<StreamClient> streamClient;
};

// The scripted session of `oru-client demo`.
int runDemo(Context &c);

} // namespace oru_cli
