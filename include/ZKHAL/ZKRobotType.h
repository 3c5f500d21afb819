/* The robot type codes that every interface of the library uses. */
#ifndef ZKHAL_ZKROBOTTYPE_H
#define ZKHAL_ZKROBOTTYPE_H

enum {
    ZK_ROBOT_UNRECOGNISED = 1000,
    ZK_ROBOT_ORVIK = 1001, /* the large wheeled robot */
    ZK_ROBOT_PELL = 1002,  /* the small stationary robot */
    ZK_ROBOT_QUILL = 1003, /* the other wheeled robot, the only one with behaviours (450, 451) */
    ZK_ROBOT_RUSK = 1004,  /* the separate family: it understands a text shell, and no command packets */
    /* The same robots while their bootloader runs. */
    ZK_ROBOT_ORVIK_BOOTLOADER = 2001,
    ZK_ROBOT_PELL_BOOTLOADER = 2002,
    ZK_ROBOT_QUILL_BOOTLOADER = 2003,
    ZK_ROBOT_RUSK_BOOTLOADER = 2004
};

#endif
