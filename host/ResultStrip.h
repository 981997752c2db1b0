#pragma once

#include "host/core/RunRecord.h"

#include <QWidget>

#include <array>

class QLabel;
class QToolButton;

namespace KOZAV::Host {

/// What became of the last run, in numbers above the pages: red, with a badge, where something is wrong. It
/// is not there before the first run.
class ResultStrip final : public QWidget
{
    Q_OBJECT
public:
    explicit ResultStrip(QWidget* parent = nullptr);

    void show(const RunSummary& run);

Q_SIGNALS:
    /// The entries of the run are to be seen, those of one outcome.
    void outcomeChosen(KOZAV::Host::Outcome outcome);
    /// All of them.
    void allChosen();

private:
    QLabel* m_badge;
    QToolButton* m_title;
    std::array<QToolButton*, outcomeCount> m_counts = {};
};

} // namespace KOZAV::Host
