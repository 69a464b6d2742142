// The same score through the header for C++.
#include <cstdio>
#include <zomu.hpp>
#include <zomu_model.hpp>

int main() {
    ZomuTemplate a;
    a.model[0] = 1;  // an unknown model would not do
    a.face.projection[0] = 3.0F;
    a.face.projection[1] = 4.0F;
    a.face.quadraticTerm = 10.0F;
    a.face.projectionNorm = 5.0F;
    ZomuTemplate b = a;
    b.face.projection[0] = 4.0F;
    b.face.projection[1] = 3.0F;
    std::printf("from C++ %.4f\n", static_cast<double>(a.scoreAgainst(b)));
    return a == b || ZomuModel::files().size() != 303 ? 1 : 0;
}
