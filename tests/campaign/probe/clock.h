#pragma once

/// The program's clock. Its pauses are over as soon as the player says so and its timers as soon as
/// nothing else is left to do, unless CAMPAIGN_TRUE_SPEED is set: then they take their time.
namespace Clock {

void jump(long seconds); ///< The time of day, not the time that the timers go by.

} // namespace Clock
