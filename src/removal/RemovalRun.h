// A removal through the gate, as the driver that asks for it owns it: begun, counted, cancelled and told in
// one place. One at a time; another one begins when the driver has followed what the gate did and said so by
// `end`.
//
// The gate works on a serial context of its own, and so does what the driver makes of its result, which takes
// its time for long lists. Main thread only.
#pragma once

#include <QObject>
#include <cstdint>
#include <functional>
#include <stop_token>
#include <utility>

#include "platform/CoalescedReports.h"
#include "platform/SerialContext.h"
#include "removal/CleanupOperation.h"
#include "removal/FileDeleter.h"

namespace larkfold {

class RemovalRun : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY stateChanged)
    // It was asked to stop, while the item under way is being finished.
    Q_PROPERTY(bool isStopping READ isStopping NOTIFY stateChanged)

public:
    // The gate: `FileDeleter::deleteItems`. Called on a thread of its own.
    using Gate = std::function<FileDeleter::DeletionResult(const FileDeleter::Request&,
                                                           const FileDeleter::Progress&, std::stop_token)>;

    // How far a removal is.
    struct Progress {
        std::int64_t completed = 0;
        std::int64_t total = 0;
        bool isPermanent = false;

        bool operator==(const Progress&) const = default;
    };

    // A gate that records its runs there, which outlives it; null: nowhere.
    static Gate gateWith(CleanupHistoryStore* history);

    // `mainQueue` outlives it.
    RemovalRun(MainQueue& mainQueue, Gate gate, QObject* parent = nullptr);
    // The gate finishes the item under way and records the run; nothing is told any more.
    ~RemovalRun() override;

    // From `begin` to `end`.
    bool isRunning() const { return isRunning_; }
    bool isStopping() const { return isStopping_; }
    const Progress& progress() const { return progress_; }

    // Begins a removal of so many items; does nothing while one runs. `makeRequest` and then `digest`, which
    // makes of the result what the driver needs, are called on the gate's thread, `report` on the main
    // thread: with what `digest` gave, or with what one of them threw. The driver then calls `end`.
    template <typename Value>
    void begin(std::int64_t items, bool permanently, std::function<FileDeleter::Request()> makeRequest,
               std::function<Value(FileDeleter::DeletionResult)> digest,
               std::function<void(Outcome<Value>)> report) {
        if (isRunning_) {
            return;
        }
        start({.completed = 0, .total = items, .isPermanent = permanently});
        run_ = context_.run<Value>(
            [gate = gate_, reports = reports_, permanently, makeRequest = std::move(makeRequest),
             digest = std::move(digest)](std::stop_token stop) {
                FileDeleter::Request request = makeRequest();
                request.permanently = permanently;
                return digest(gate(
                    request,
                    [&](std::int64_t completed, std::int64_t total) {
                        reports.report({.completed = completed, .total = total, .isPermanent = permanently});
                    },
                    std::move(stop)));
            },
            [this, report = std::move(report)](Outcome<Value> outcome) {
                run_ = Run();
                report(std::move(outcome));
            });
    }

    // Lets the item that is under way be finished and leaves the rest. The record names them all.
    Q_INVOKABLE void cancel();

    // The driver shows what became of the items. The second one tells the window of the record.
    void end();
    void end(const CleanupOperation& operation);

signals:
    void stateChanged();
    void progressChanged();
    // A removal has ended, and this is its record.
    void finished(const larkfold::CleanupOperation& operation);

private:
    void start(const Progress& progress);
    void takeProgress(const Progress& progress);
    void setState(bool running, bool stopping);

    Gate gate_;
    CoalescedReports<Progress> reports_;
    bool isRunning_ = false;
    bool isStopping_ = false;
    Progress progress_;
    SerialContext context_;
    Run run_;  // last: its end drops the work before anything that the work reports to
};

}  // namespace larkfold
