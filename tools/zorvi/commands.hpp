// The run functions of the subcommands, one source file each.
#pragma once

#include "cli.hpp"

namespace zorvi::cli {

int runInfo(const Arguments& arguments);
int runManifest(const Arguments& arguments);
int runPack(const Arguments& arguments);
int runUnpack(const Arguments& arguments);
int runUpdateCheck(const Arguments& arguments);
int runThumbnail(const Arguments& arguments);
// `zorvi thumbnail --out-dir DIR BOARD...`: runThumbnail hands over a command line with --out-dir or --jobs.
int runThumbnailBatch(const Arguments& arguments);
int runExport(const Arguments& arguments);

}  // namespace zorvi::cli
