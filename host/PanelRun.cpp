// Two signals of a button frame its slot: pressed() comes before clicked(), however the button is worked, and
// a connection made to clicked() after the panel's own is called after it. A button that is pressed may be
// let go of without a click: then released() comes alone, and with no slot on the stack the event loop comes
// back to the depth at which it came. In a box of the panel it is deeper.
//
// What the panel will import is known from its fields: it fills them as it takes a choice over. A field that
// is cleared by its button, or typed into, says nothing of the choice, which the panel keeps.

#include "host/PanelRun.h"

#include "host/PanelBoxes.h"
#include "host/core/RunGate.h"

#include <QComboBox>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QThread>

namespace KOZAV::Host {

PanelRun::PanelRun(const QWidget& panel, QObject* parent)
    : QObject(parent)
{
    m_afterRelease.setSingleShot(true);
    connect(&m_afterRelease, &QTimer::timeout, this, &PanelRun::forgetUnlessCalled);
    setPanel(panel);
}

/// What was connected goes with the panel that is given up.
void PanelRun::setPanel(const QWidget& panel)
{
    m_panel = &panel;
    m_batch = {};
    m_single = {};
    const BatchBox batch = batchBoxOf(panel);
    follow(batch.directory, batch.clearButton, m_batch);
    frame(batch.importButton, &PanelRun::batchSource);
    const SingleBox single = singleBoxOf(panel);
    follow(single.path, single.clearButton, m_single);
    frame(single.importButton, &PanelRun::singleSource);
    connect(single.company, &QComboBox::currentTextChanged, this, &PanelRun::tellChoice);
    tellChoice();
}

void PanelRun::follow(const QLineEdit* field, const QPushButton* clearButton, Choice& choice)
{
    // A change by typing is told before the change itself.
    connect(field, &QLineEdit::textEdited, this, [&choice] { choice.typing = true; });
    connect(clearButton, &QPushButton::pressed, this, [&choice] { choice.clearing = true; });
    connect(clearButton, &QPushButton::clicked, this, [&choice] { choice.clearing = false; });
    connect(field, &QLineEdit::textChanged, this, [this, &choice](const QString& text) {
        const bool kept = choice.typing || (choice.clearing && text.isEmpty());
        choice.typing = false;
        if (!kept) {
            choice.path = text;
            m_singleIsLast = &choice == &m_single;
        }
        tellChoice();
    });
}

void PanelRun::tellChoice()
{
    const PanelSource now = choice();
    if (now == m_toldChoice)
        return;
    m_toldChoice = now;
    Q_EMIT chosen(now);
}

PanelSource PanelRun::choice() const
{
    const PanelSource batch = batchSource();
    const PanelSource single = singleSource();
    const bool isSingle = batch.path.isEmpty() || (m_singleIsLast && !single.path.isEmpty());
    return isSingle && !single.path.isEmpty() ? single : batch;
}

void PanelRun::frame(const QPushButton* importButton, PanelSource (PanelRun::*pressed)() const)
{
    connect(importButton, &QPushButton::pressed, this, [this, pressed] {
        m_source = (this->*pressed)();
        m_running = true;
        m_afterRelease.stop();
        Q_EMIT begins(m_source);
    });
    connect(importButton, &QPushButton::released, this, &PanelRun::closeGate);
    connect(importButton, &QPushButton::clicked, this, &PanelRun::end);
}

void PanelRun::end()
{
    m_running = false;
    Q_EMIT ended(m_source);
    RunGate::open();
}

/// The slot is called at once, unless there was no click: what was pressed is let go of elsewhere. That is
/// found out by a timer, which rests while a slot works; a call that is posted would come before its end.
void PanelRun::closeGate()
{
    RunGate::close();
    m_releaseDepth = QThread::currentThread()->loopLevel();
    m_afterRelease.start();
}

void PanelRun::forgetUnlessCalled()
{
    if (!m_running || m_releaseDepth != QThread::currentThread()->loopLevel())
        return;
    m_running = false;
    Q_EMIT forgotten();
    RunGate::open();
}

PanelSource PanelRun::batchSource() const
{
    return {PanelSource::Kind::Batch, m_batch.path, QString()};
}

/// Nothing is imported while the field is empty.
PanelSource PanelRun::singleSource() const
{
    const SingleBox box = singleBoxOf(*m_panel);
    const QString path = box.path->text().isEmpty() ? QString() : m_single.path;
    const auto kind = QFileInfo(path).isDir() ? PanelSource::Kind::JobFolder : PanelSource::Kind::Archive;
    return {kind, path, box.company->currentText()};
}

} // namespace KOZAV::Host
