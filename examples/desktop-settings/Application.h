#pragma once

/// A user's first session: reads settings, overrides some, and receives notifications.
void firstRun();

/// The next session: shows which settings remain, and resets one to the installation's value.
void secondRun();
