#pragma once

// What the job makes of the process that it was started in, whatever its starter left it with.
namespace orv {

// Called once, before anything is opened:
// - files are made 0640 and directories 0750 (umask 027), for results name files of directories
// that
//   not everybody may read;
// - descriptors 0 to 2 are open, so that no file of the job ever takes the place of standard
// output;
// - as many descriptors may be open as the walk of a deep tree needs, where the hard limit allows.
void setUpProcess() noexcept;

// The descriptors that the agent handed down, as its command line names them: closes the agent's
// own end, unless that is 0, and returns the job's end, which no child inherits from now on. -1
// when that is 0 or not open: what is opened later under its number is not the agent's. Called
// before the job opens anything that it keeps.
[[nodiscard]] int takeAgentDescriptors(int agentEnd, int ownEnd) noexcept;

}  // namespace orv
