#pragma once

#include "host/core/Foreseen.h"

#include <QObject>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

class QThread;

namespace KOZAV::Host {

/// Looks through what the panel would import, on the calling thread and so many more, and changes nothing.
/// Never waits for a pipe. Contents are read only of archives, to see whether they are there to their end,
/// and of what has a length that the site has already.
/// @param threads    that look and read; 0: one for each core
/// @param cancelled  set by another thread to have it end early
/// @param hand       takes each piece, on the calling thread
void foresee(const PanelSource& source, unsigned threads, const std::atomic<bool>& cancelled,
             const std::function<void(ForesightPiece&& piece)>& hand);

/// Looks on a thread of its own, one source at a time.
class Foresight final : public QObject
{
    Q_OBJECT
public:
    explicit Foresight(QObject* parent = nullptr);
    /// Cancels the look and waits for its end.
    ~Foresight() override;

    /// Begins to look; cancels the look before, of which nothing is told any more.
    void look(const PanelSource& source);
    void cancel();

Q_SIGNALS:
    /// On the thread of this object.
    void found(const KOZAV::Host::ForesightPiece& piece);

private:
    struct Run;
    std::vector<std::unique_ptr<Run>> m_runs; ///< the last may be under way, those before are ending
    int m_number = 0;                         ///< of the look that is told
};

} // namespace KOZAV::Host
