// The names the save dialogs offer: made from the open record's name and what
// is written, so "cell3.xkv" summed by 10 offers "cell3_sum10.xkv" in the
// record's folder. The user can always type another name.
#pragma once

#include <cstdint>
#include <string>

#include "processing/export_transform.h"

namespace lumetra {

// The record's path up to its extension: "/data/cell3.xkv" -> "/data/cell3".
std::string RecordBase(const std::string& record_path);

// The file a "Save Record As" transform offers. Numbered outputs (sequences
// of RAW or BMP files) get a stem the frame numbers follow: cell3_frame1.bmp, ...
std::string DefaultTransformName(const std::string& record_path, const TransformRequest& request);

// "Save Current Frame as XKV Data File": cell3_frame17.xkv.
std::string DefaultFrameName(const std::string& record_path, int32_t frame);

// "Fuse Records", named after the first record chosen: cell3_fused.xkv.
std::string DefaultFusedName(const std::string& first_record_path);

// The record shifted back by the drift of its tracks: cell3-driftcorr.xkv.
std::string DefaultDriftCorrectedName(const std::string& record_path);

// The import window's record, named after its source: cell3.raw -> cell3.xkv.
std::string DefaultImportName(const std::string& source_path);

}  // namespace lumetra
