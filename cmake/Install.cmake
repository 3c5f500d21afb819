# cmake --install: headers, libraries, a CMake package and a pkg-config file.

install(TARGETS ZKHAL EXPORT ZKHALTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(ZKHAL_SIMULATOR)
  install(TARGETS zkhal_simulator EXPORT ZKHALTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

if(ZKHAL_HOST)
  install(TARGETS zkhal_host EXPORT ZKHALTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

# C headers as <ZKHAL/...>; the C++ classes keep their folders below ZKHAL/cxx.
install(DIRECTORY include/ZKHAL ${PROJECT_BINARY_DIR}/include/ZKHAL DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
set(ZKHAL_CXX_HEADERS
  CoreUtility/BotMessengerBuffer.h
  CoreUtility/Command/BotMessengerBuffer.h
  CoreUtility/Bits.h
  CoreUtility/ByteOrder.h
  CoreUtility/PayloadText.h
  CoreUtility/Puppet/PuppetRecord.h
  CoreUtility/Puppet/PuppetSequence.h
  CoreUtility/Puppet/ZKAnimConvert.h
  CoreUtility/Json/nx_json.h
  CoreUtility/WallTime.h
  CoreUtility/nx_json.h
  CppEngine/ActionHost.h
  CppEngine/AdvertisementData.h
  CppEngine/Channels.h
  CppEngine/PlatformAdapter.h
  CppEngine/Robot.h
  CppEngine/RobotActionManagerAbstract.h
  CppEngine/RobotActionManagerShell.h
  CppEngine/TimerManager.h
  HAL/MessagePacketizers/AbstractPacketizer.h
  HAL/MessagePacketizers/PacketizerInteraction.h
  HAL/MessagePacketizers/PacketizerShell.h
  HAL/RobotHardware/Attitude.h
  HAL/RobotHardware/Battery.h
  HAL/RobotHardware/Reflectance.h
  HAL/RobotHardware/RobotHW.h
  HAL/RobotHardware/RobotHW_rev0.h
  HAL/RobotHardware/robot_hw0_cmd_data.h
  HAL/RobotMessages/CommandBytes.h
  HAL/RobotMessages/CommandRecords.h
  HAL/RobotMessages/Components.h
  HAL/RobotMessages/Ctlr2BotMsg.h
  HAL/RobotMessages/RobotTypes.h
  HAL/RobotMessages/WireCommands.h)
if(ZKHAL_SOUND)
  list(APPEND ZKHAL_CXX_HEADERS
    CoreUtility/Sound/NuSoundEncode.h
    CoreUtility/Sound/ZKSound.h
    CoreUtility/Sound/aflibConverter.h)
endif()
if(ZKHAL_SIMULATOR)
  list(APPEND ZKHAL_CXX_HEADERS
    Simulator/AnimationReader.h
    Simulator/Chassis.h
    Simulator/CommandFields.h
    Simulator/CommandReader.h
    Simulator/Link.h
    Simulator/PacketBytes.h
    Simulator/RobotModel.h
    Simulator/RobotShell.h
    Simulator/Room.h
    Simulator/SeededRandom.h
    Simulator/SensorReport.h
    Simulator/Servo.h
    Simulator/SoundFileReader.h
    Simulator/VirtualRobot.h)
endif()
if(ZKHAL_HOST)
  list(APPEND ZKHAL_CXX_HEADERS
    Host/BluezTransport.h
    Host/Capture.h
    Host/CaptureTransport.h
    Host/Error.h
    Host/Hub.h
    Host/RobotSession.h
    Host/Transport.h
    Host/VirtualTransport.h)
endif()
foreach(header IN LISTS ZKHAL_CXX_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES src/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZKHAL/cxx/${folder})
endforeach()

set(ZKHAL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZKHAL)
install(EXPORT ZKHALTargets NAMESPACE ZKHAL:: DESTINATION ${ZKHAL_CMAKE_DIR})
set(ZKHAL_NEEDS_SYSTEMD OFF)
if(ZKHAL_HOST AND ZKHAL_HAS_BLUETOOTH)
  set(ZKHAL_NEEDS_SYSTEMD ON)
endif()
configure_package_config_file(cmake/ZKHALConfig.cmake.in ZKHALConfig.cmake INSTALL_DESTINATION ${ZKHAL_CMAKE_DIR})
write_basic_package_version_file(ZKHALConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZKHALConfig.cmake ${PROJECT_BINARY_DIR}/ZKHALConfigVersion.cmake
  DESTINATION ${ZKHAL_CMAKE_DIR})

# What a static library leaves to the program that links it.
set(ZKHAL_PC_LIBS "")
set(ZKHAL_PC_REQUIRES "")
set(ZKHAL_PC_CFLAGS "")
if(BUILD_SHARED_LIBS AND WIN32)
  set(ZKHAL_PC_CFLAGS "-DZKHAL_DLL")
elseif(NOT BUILD_SHARED_LIBS)
  set(ZKHAL_PC_LIBS "-lstdc++ -lm")
  if(ZKHAL_SOUND)
    string(PREPEND ZKHAL_PC_LIBS "-lfaac ")
  endif()
  if(ZKHAL_HAS_MD5)
    set(ZKHAL_PC_REQUIRES "libcrypto")
  endif()
endif()
configure_file(cmake/zkhal.pc.in zkhal.pc @ONLY)
if(ZKHAL_SIMULATOR)
  configure_file(cmake/zkhal-simulator.pc.in zkhal-simulator.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/zkhal-simulator.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
install(FILES ${PROJECT_BINARY_DIR}/zkhal.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
