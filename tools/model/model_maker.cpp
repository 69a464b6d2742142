#include "model/model_maker.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <vector>

#include "model/exact_sums.h"
#include "model/model_file_writer.h"
#include "model/model_files.h"
#include "model/model_tables.h"
#include "model/net_plan.h"
#include "model/occupied_folder.h"
#include "model/staged_folder.h"
#include "network/net_texts.h"

namespace fs = std::filesystem;

namespace {

using FilesByName = std::map<std::string, ModelFile>;

FilesByName filesByName() {
    FilesByName files;
    for (const ModelFile& file : listModelFiles()) {
        files.emplace(file.name, file);
    }
    return files;
}

// Writes the files one by one and keeps count of the work.
class ModelWriter {
  public:
    ModelWriter(const ModelRequest& wanted, const FilesByName& listed, const ModelProgress& report)
        : request(wanted),
          files(listed),
          progress(report),
          folder(wanted.folder, wanted.replace),
          total(static_cast<int>(listed.size())) {}

    ModelSummary writeAll() {
        begin("networks");
        for (int net = 0; net < kNetCount; ++net) {
            writeNetwork(net);
        }
        begin("projections");
        write("6-0", drawFeatureMean(request.seed));
        const Projections tables = drawProjections(request.weights, request.seed);
        write("6-1", tables.a);
        write("6-2", tables.b);
        if (static_cast<std::size_t>(summary.files) != files.size()) {
            throw std::logic_error("files of the list were not written");
        }
        folder.commit();
        return summary;
    }

  private:
    void begin(const std::string& name) {
        stage = name;
        progress(done, total, stage);
    }

    void write(const std::string& name, const std::vector<float>& values) {
        const ModelFile& file = files.at(name);
        writeModelFile(folder.path() / name, file, values);
        ++summary.files;
        summary.bytes += byteCount(file);
        progress(++done, total, stage);
    }

    void writeNetwork(int net) {
        const NetPlan plan = planNetwork(netDescriptionTexts[net]);
        const NetNumbers numbers = drawNetwork(request.weights, request.seed, plan);
        const std::string meanName = "0-" + std::to_string(net + 1) + "-0";
        const std::vector<float> mean =
            drawMeanImage(request.seed, meanName, plan.front().elements());
        if (request.weights == WeightKind::integer) {
            requireExactSums(plan, numbers, mean);
        }
        write(meanName, mean);
        for (std::size_t i = 0; i < plan.size(); ++i) {
            for (std::size_t k = 0; k < plan[i].weights.size(); ++k) {
                write(plan[i].weights[k].name, numbers[i].weights[k]);
            }
            for (const MatrixShape& shape : plan[i].biases) {
                write(shape.name, numbers[i].biases);
            }
        }
    }

    void requireExactSums(const NetPlan& plan, const NetNumbers& numbers,
                          const std::vector<float>& mean) {
        const LargestSum largest = largestSum(plan, numbers, mean);
        if (largest.value >= kExactLimit) {
            throw std::runtime_error("sums of layer " + largest.layer + " may come to " +
                                     std::to_string(largest.value) + " and would be rounded");
        }
        summary.largestSum = std::max(summary.largestSum, largest.value);
    }

    const ModelRequest& request;
    const FilesByName& files;
    const ModelProgress& progress;
    StagedFolder folder;
    ModelSummary summary;
    std::string stage;
    int done = 0;
    int total;
};

}  // namespace

ModelSummary makeModel(const ModelRequest& request, const ModelProgress& progress) {
    const FilesByName files = filesByName();
    refuseOccupied(request.folder, request.replace);
    return ModelWriter(request, files, progress).writeAll();
}
