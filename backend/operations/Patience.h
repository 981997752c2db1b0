#pragma once

#include "backend/Operation.h"
#include "backend/Status.h"

#include <functional>

namespace KOZAV::Backend {

// How a batch meets a server of its site that does not answer: it waits for it, up to the configured
// patience, and after that gives up as a whole. Calls outside of a batch, and parts of a site that are no
// servers, are as they would be without this.

/// Fails where the call belongs to a batch that has given up or was stopped (refuseImports), or to a company
/// that a batch could not have for itself: it is not to be tried. The call's event says so.
Status refusalOf(Operation& call);

/// Whether the call is tried again where that part fails for want of an answer.
bool isWaitedFor(const Operation& call, SitePart part);

/// Settles a call that has failed: where that is for want of an answer, and the call belongs to a batch, it
/// waits and tries again (Operation::isRepeated), until attempt ends otherwise or the patience is used up;
/// then the batch has given up. @return what the call came to
Status settle(Operation& call, const Status& failed, const std::function<Status()>& attempt);

/// Fails where nothing is to be stored now: the batch has given up, or its rows did not answer when they were
/// asked last, and do not now either. A file that is stored then would be one that no row can name.
Status readyToStore(Operation& call);

} // namespace KOZAV::Backend
