#pragma once

#include "oru_client_export.h"

#include <oru_sdk/types.h>

#include <QObject>
#include <QSharedPointer>
#include <QTimer>

namespace oru_client {

/// Why a call ended without an answer.
enum class CallError {
    None,         // answered (the answer's own error code is in response())
    NotConnected, // never sent: no connection to the gateway
    Timeout,      // sent, but no answer came in time
    Disconnected, // the connection closed while waiting
};

/// The value of answers that carry nothing but their result.
struct NoValue {
};

/// One call in flight: finishes exactly once, with an answer or with an error.
class ORU_CLIENT_EXPORT PendingCall : public QObject
{
    Q_OBJECT

public:
    explicit PendingCall(const QString &what)
        : what(what)
    {
    }

    bool isFinished() const { return done; }
    CallError error() const { return failure; }
    // Transport failure, or the gateway's own error text with its code.
    QString errorString() const;
    // The answer's request id, error code and text.
    const oru_sdk::Response &response() const { return answer; }
    // What was asked, e.g. "get presets"; used in error texts.
    const QString &description() const { return what; }
    double elapsedMs() const { return elapsed; }

    // Spins the caller's event loop until the call has finished (the client's
    // timeout guarantees that it does) or maxMs has passed. True when answered
    // with error code 0.
    bool wait(int maxMs = 60000);

    // Used by the client.
    void succeed(const oru_sdk::Response &response, double ms);
    void fail(CallError error, const QString &text);

signals:
    void finished();

private:
    QString what;
    bool done = false;
    CallError failure = CallError::None;
    QString failureText;
    oru_sdk::Response answer;
    double elapsed = 0;
};

/// A typed handle on a call: copies share one call. Answered values are read
/// with value() once finished.
template <class T>
class Reply
{
public:
    struct State : PendingCall {
        using PendingCall::PendingCall;
        T value{};
    };

    Reply() = default;
    explicit Reply(QSharedPointer<State> state)
        : d(std::move(state))
    {
    }

    bool wait(int maxMs = 60000) const { return d->wait(maxMs); }
    bool isFinished() const { return d->isFinished(); }
    // Finished with an answer whose error code is 0.
    bool ok() const { return d->isFinished() && d->error() == CallError::None && d->response().errorCode == 0; }
    CallError error() const { return d->error(); }
    QString errorString() const { return d->errorString(); }
    const oru_sdk::Response &response() const { return d->response(); }
    const T &value() const { return d->value; }
    PendingCall *call() const { return d.data(); }

    // Calls f(reply) once the call has finished (on the next loop turn when it
    // already has), as long as context lives.
    template <class F>
    void then(QObject *context, F f) const
    {
        if (d->isFinished()) {
            QTimer::singleShot(0, context, [state = d, f]() mutable { f(Reply(state)); });
            return;
        }
        // Weak: the call must not own itself through its own connection. The
        // client holds it until finished() has been emitted.
        QObject::connect(d.data(), &PendingCall::finished, context, [weak = d.toWeakRef(), f]() mutable {
            if (auto state = weak.toStrongRef())
                f(Reply(state));
        });
    }

private:
    QSharedPointer<State> d;
};

} // namespace oru_client
