#include "src/writer/output.h"

#include "src/names/frame_names.h"
#include "src/points/pdc_file.h"
#include "src/writer/write_instance_data.h"

#include <cstdio>
#include <string>

namespace {

constexpr char kShader[] = "vx_pc_write";

// The null tag, of a string parameter that was never set, must not be accessed.
std::string NameTemplate(miTag tag) {
    return tag == miNULLTAG ? std::string() : GetTagString(tag);
}

void WarnOfName(const std::string& name) {
    mi_warning("%s: Invalid file name for %s, aborting", kShader, name.c_str());
}

void ReportFile(const std::string& fileName) {
    mi_info("%s: Writing File %s", kShader, fileName.c_str());
}

void WritePdcFile(const WriteInstanceData* data) {
    const std::string name = NameTemplate(data->params.pdcFileName);
    const std::string fileName = MakeFrameFileName(name, "pdc", data->params.frame);
    if (fileName.empty()) {
        WarnOfName(name);
        return;
    }
    if (std::FILE* file = std::fopen(fileName.c_str(), "wb")) {
        WritePdc(file, *data->pdc);
        (void)std::fclose(file); // errors of writing are not reported
    } else {
        mi_warning("Cannot open %s for writing", fileName.c_str());
    }
    // Also after a failure: the message does not report success.
    ReportFile(fileName);
}

void WriteMapFile(WriteInstanceData* data) {
    const std::string name = NameTemplate(data->params.mapFileName);
    const std::string fileName = MakeFrameFileName(name, "mrmap", data->params.frame);
    if (fileName.empty()) {
        // The message has the empty file name, unlike that of WritePdcFile.
        WarnOfName(fileName);
        return;
    }
    data->PdcToMap(fileName);
    ReportFile(fileName);
}

} // namespace

void WriteOutput(WriteInstanceData* data) {
    data->pdc = new CPdc;
    data->grid.ToPdc(data->pdc, data->params.radius);
    const int mode = data->params.outputMode;
    if (mode == kOutputPdc || mode == kOutputBoth) WritePdcFile(data);
    if (mode == kOutputMap || mode == kOutputBoth) WriteMapFile(data);
}

void ConvertOutput(WriteInstanceData* data) {
    const std::string pdcName = NameTemplate(data->params.pdcFileName);
    const std::string pdcFileName = MakeFrameFileName(pdcName, "pdc", data->params.frame);
    if (pdcFileName.empty()) {
        WarnOfName(pdcName);
        return;
    }
    const std::string mapName = NameTemplate(data->params.mapFileName);
    const std::string mapFileName = MakeFrameFileName(mapName, "mrmap", data->params.frame);
    if (mapFileName.empty()) {
        WarnOfName(mapName);
        return;
    }
    if (!data->ReadPdc(pdcFileName)) {
        mi_warning("%s: Error reading %s, aborting", kShader, pdcFileName.c_str());
        return;
    }
    data->PdcToMap(mapFileName);
}
