/* Uses the engine of another version. */
#include <stdint.h>

int32_t dds_create_participant(uint32_t domain, const void* qos, const void* listener);
int32_t dds_create_publisher(int32_t participant, const void* qos, const void* listener);
int32_t dds_delete(int32_t entity);

int main(void) {
    const int32_t participant = dds_create_participant(5, 0, 0);
    const int32_t publisher = dds_create_publisher(participant, 0, 0);
    return participant == 1005 && publisher == 1006 && dds_delete(publisher) == -1006 ? 17 : 1;
}
