// orvctl: defines, runs and reports scan jobs on one machine, without a management server.
//
//   command   the command line: App parses it, one file per command
//     scan          runs a job over a path (ScanRun) and reports what it found
//     cluster       the same walk shared by many processes, on one host or a cluster's nodes
//     report        reports a result file, in whatever form
//     jobs          the jobs of an agent directory, running and done, and their locks
//     history       puts results into the database, lists, shows and prunes them
//     growth        what grew between two scans, and when filesystems will be full
//     check-where   explains a where clause, or points at its error
//     help          how a command is used
//   document  a second program, which is run when orvctl is built: manual pages and completion,
//             made from the command line as App declares it
//   job       where a job's files live (AgentDirectory), what it is told (Definition, RootFacts),
//             how it runs (LocalJob, ScanProcess, Progress) and went (JobList, JobLog)
//   model     what a result says: ResultFile reads it into a tree, ModelBuilder makes figures of it
//   report    the figures for a terminal
//   export    the figures for programs and browsers: JSON, CSV, metrics, a page
//   history   the figures of many scans in a database (History, Load, Keep), compared (Changes,
//             Growth), and both as text and for programs
//   text      columns, names, units, colours and errors
//
// A scan goes down and up again: command -> job, which runs bin/scan -> model -> report or export.
#include "orvctl/command/App.h"

int main(int argc, char** argv) {
  return orv::ctl::runApp(argc, argv);
}
