#pragma once

/// A user's first session: looks settings up, overrides some, and is told of the changes.
void firstRun();

/// The session after it: what is still there, what is not, and how a default comes back.
void secondRun();
