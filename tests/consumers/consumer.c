#include <stdio.h>

#include <ZKHAL/ZKHAL.h>

int main(void)
{
    uint8_t out[ZK_BLOCK_SIZE];
    json2Packets("{\"211\":{\"left_cm_s\":10,\"right_cm_s\":-10}}", out);
    for (int i = 0; i < out[0]; ++i) {
        printf("%s%02X", i > 0 ? " " : "", out[1 + i]);
    }
    printf("\n");
    return 0;
}
