/* Stands for another version of the engine: the functions have the same names, and who knows what behind
 * them. */
#include <stdint.h>

__attribute__((visibility("default"))) int32_t dds_create_participant(
    uint32_t domain, const void* qos, const void* listener);
__attribute__((visibility("default"))) int32_t dds_create_publisher(
    int32_t participant, const void* qos, const void* listener);
__attribute__((visibility("default"))) int32_t dds_delete(int32_t entity);

int32_t dds_create_participant(uint32_t domain, const void* qos, const void* listener) {
    (void)qos;
    (void)listener;
    return (int32_t)domain + 1000;
}
int32_t dds_create_publisher(int32_t participant, const void* qos, const void* listener) {
    (void)qos;
    (void)listener;
    return participant + 1;
}
int32_t dds_delete(int32_t entity) {
    return -entity;
}
