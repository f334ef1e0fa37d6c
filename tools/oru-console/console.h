#pragma once

#include <oru_client/client.h>

#include <QJsonObject>
#include <QObject>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace oru_client {
class StreamClient;
}

// One JPEG picture shared by every browser watching a live channel.
struct LiveFeed {
    std::mutex lock;
    std::condition_variable changed;
    std::string jpeg;
    quint64 serial = 0;
    qint64 bytes = 0;
    quint64 sent = 0; // pictures written to viewers, all of them together
    int viewers = 0;
    bool closed = false;
};

// The gateway side of the console; lives on the Qt thread. The HTTP threads
// reach it only through call() and the thread-safe event and feed queues.
class Console : public QObject
{
    Q_OBJECT

public:
    Console(QString server, QString streamServer, bool hello);

    // Runs a JSON request on the Qt thread; answer(json) is called there.
    void request(const QString &name, const QJsonObject &args, std::function<void(QJsonObject)> answer);

    // Events as JSON lines, numbered; waits up to timeoutMs for one after `after`.
    bool nextEvent(quint64 &after, std::string &out, int timeoutMs);
    void publish(const QJsonObject &event);

    // Live feeds open their stream with the first viewer and close it with the
    // last; the one playback feed ("play") lives until the next playback.
    std::shared_ptr<LiveFeed> feed(const QString &key);
    void releaseFeed(const QString &key);

private:
    void connectGateway();
    oru_client::StreamClient *openStream(const QString &key, const std::shared_ptr<LiveFeed> &f);
    void startPlayback(const QJsonObject &args);
    QJsonObject stats();
    QJsonObject answerOf(const oru_client::PendingCall *call) const;

    oru_client::Client client;
    QString serverName;
    QString streamName;
    bool wantHello;
    bool up = false;

    std::mutex eventLock;
    std::condition_variable eventArrived;
    std::deque<std::pair<quint64, std::string>> events;
    quint64 lastEvent = 0;

    std::mutex feedLock;
    std::map<QString, std::shared_ptr<LiveFeed>> feeds;
    std::map<QString, oru_client::StreamClient *> streams;
};
