#include "tests/contract/ContractFixture.hpp"

int main(int argumentCount, char** arguments) {
    testing::InitGoogleTest(&argumentCount, arguments);
    contract::useLoopbackDevice();
    return RUN_ALL_TESTS();
}
