#pragma once

#include "tests/support/GridFsBox.h"

#include <QByteArray>
#include <QStringList>

#include <functional>

namespace KOZAV::Test {

/// What the trials of a store on a failing server have in common.

/// Each of the time-outs that the stores of the trials have.
constexpr int trialTimeoutMs = 1500;

/// No call may take longer: a few time-outs one after the other, on a machine that is busy with other things.
constexpr int longestCallMs = 8 * trialTimeoutMs;

/// In this time after a failure a server that is back must be used again.
constexpr int recoveryMs = 15'000;

/// A server alone or the primary of a replica set, with a login.
PeerOptions trialServer(bool replicaSet);

/// Options of a URI with the time-outs.
QString trialTimeouts();

/// Content of several batches, and how many chunks it makes.
const QByteArray& trialContent();
constexpr int trialChunks = 41;

/// Calls, and @return whether it ended in time.
bool endsInTime(const std::function<void()>& call);

/// Calls until a call succeeds. @return false where none does in the time in which one must
bool recovers(const std::function<bool()>& call);

/// What is wrong with how a failure is told; empty where it names the server and tells no password.
QString faultOfMessage(const Backend::Status& failure);

} // namespace KOZAV::Test
