// orvctl: defines, runs and reports scan jobs on one machine, without a management server.
//
//   App              the command line; one file per command: ScanCommand, ReportCommand
//   AgentDirectory   where the job's files live; LocalJob writes its definition and mount table
//   ScanProcess      runs bin/scan and hands signals on; Progress shows meanwhile what JobLog reads
//   ResultFile       reads the result into a tree; Report and ReportSections print it
//   TextTable, DisplayText, Units, Style   columns, names, figures and colours of the report
#include "orvctl/command/App.h"

int main(int argc, char** argv) {
  return orv::ctl::runApp(argc, argv);
}
