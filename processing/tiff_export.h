// "Save Record As" TIFF Stack (16 bit) and OME-TIFF Stack: every frame of the
// record through the processing chain into one 16-bit TIFF stack that carries
// the pixel size and the frame interval (ImageJ description or OME-XML).
#pragma once

#include <string>

#include "processing/export_stream.h"
#include "record/tiff_writer.h"

namespace lumetra {

// What the stack's metadata says for the open record: frame 0's size and
// scale, the mean interval and each frame's time and exposure from the index.
TiffStackInfo StackInfoFor(const RecordStore& store, bool ome, const std::string& out_path);

// Closing notice: "TIFF stack was written". The file appears only when every
// frame was written (stopped or failed: no file).
ExportResult ExportTiff(ExportJob& job, const std::string& out_path, bool ome);

}  // namespace lumetra
