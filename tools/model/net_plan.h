// What a network's description says about its layers, in numbers: the size of each layer's output,
// and the shape of every model file that it reads.
#ifndef ZOMU_TOOLS_MODEL_NET_PLAN_H
#define ZOMU_TOOLS_MODEL_NET_PLAN_H

#include <cstdint>
#include <string>
#include <vector>

struct MatrixShape {
    std::string name;  // of the file
    std::int32_t rows;
    std::int32_t cols;
};

// One layer. A row of its output holds planes x side x side values.
//
//  type    planes x side               weights, one matrix for each input        biases
//  data    those of the patch          none                                      none
//  conv    `filters` x `modulesX`      channels * filterPixels x filters         filters x 1
//  neuron  those of its input          none                                      none
//  pool    `channels` x `outputsX`     none                                      none
//  fc      `outputs` x 1               elements of the input x outputs           1 x outputs
struct LayerPlan {
    std::string name;
    std::string type;
    std::vector<std::size_t> inputs;  // positions of earlier layers
    std::int32_t planes = 0;
    std::int32_t side = 0;
    std::int32_t filterPixels = 0;  // of a convolution
    std::vector<MatrixShape> weights;
    std::vector<MatrixShape> biases;  // one, or none

    std::int32_t elements() const { return planes * side * side; }
};

using NetPlan = std::vector<LayerPlan>;

// Walks the description `text` from the patch to the outputs. Throws std::runtime_error where its
// numbers contradict each other or the patch, and for kinds of layers that made models do not have.
NetPlan planNetwork(const char* text);

#endif
