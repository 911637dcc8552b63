// The memory and string functions, compared with the model.
#include "fuzz.h"
#include "tests/memory_model.h"

void Try(Input* input) {
    const string difference = model::Difference(input->left);
    Require(difference.empty(), difference);
}
