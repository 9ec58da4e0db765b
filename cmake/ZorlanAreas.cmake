# The library's areas, bottom to top, and the areas each may use. This table
# is the one place the order between areas is written down: each area becomes
# an object library that sees only the areas it names, and the layer check
# (cmake/CheckLayers.cmake, run by CTest) fails on any include that crosses
# it. docs/ARCHITECTURE.md explains the order.
set(ZORLAN_AREAS Base Dispatch Rx Platform Coding Scheduling Logging Values Text Numerics JSON Environment Time Persistence StateMachine Routing)

set(ZORLAN_AREA_USES_Base "")
set(ZORLAN_AREA_USES_Dispatch Base)
set(ZORLAN_AREA_USES_Rx Base Dispatch)
set(ZORLAN_AREA_USES_Platform Base Dispatch Rx)
set(ZORLAN_AREA_USES_Coding Base Platform)
set(ZORLAN_AREA_USES_Scheduling Base Dispatch Rx Platform)
set(ZORLAN_AREA_USES_Logging Base Dispatch Rx Platform Coding Scheduling)
set(ZORLAN_AREA_USES_Values Base Platform Coding Logging)
set(ZORLAN_AREA_USES_Text Base Platform)
set(ZORLAN_AREA_USES_Numerics Base Rx Platform Logging)
set(ZORLAN_AREA_USES_JSON Base Platform Coding Numerics)
set(ZORLAN_AREA_USES_Environment Base Dispatch Rx Platform Logging)
set(ZORLAN_AREA_USES_Time Base Dispatch Rx Platform Scheduling Logging)
set(ZORLAN_AREA_USES_Persistence Base Dispatch Rx Platform Coding Scheduling Logging Values Numerics JSON Environment)
set(ZORLAN_AREA_USES_StateMachine Base Dispatch Rx Scheduling Values)
set(ZORLAN_AREA_USES_Routing Base Dispatch Rx Platform Logging)

# What every area's objects need: the headers, the language level and the
# third-party libraries the library links.
add_library(zorlan_area_common INTERFACE)
target_include_directories(zorlan_area_common INTERFACE
  ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
target_compile_features(zorlan_area_common INTERFACE cxx_std_20)
target_link_libraries(zorlan_area_common INTERFACE
  Boost::json Boost::url Boost::headers Threads::Threads
  ICU::uc ICU::i18n SQLite::SQLite3 CURL::libcurl PkgConfig::PLIST)
# Calls between the library's own functions bind inside the library: no PLT
# hop and no interposition of our symbols, which lets the compiler inline
# across them (the logging path crosses many small functions).
target_compile_options(zorlan_area_common INTERFACE -fno-semantic-interposition)
target_compile_definitions(zorlan_area_common INTERFACE BOOST_ASIO_NO_DEPRECATED)

# zorlan_add_areas(<library>): one object library per area (zorlan_area_<Area>,
# from src/<Area>/*.cpp), each linked to the areas it may use, all compiled
# into <library>. Also writes the table for the layer check.
function(zorlan_add_areas library)
  set(rules "")
  foreach(area ${ZORLAN_AREAS})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${area}/*.cpp)
    string(APPEND rules "set(USES_${area} \"${ZORLAN_AREA_USES_${area}}\")\n")
    if(NOT sources)
      continue()  # an area of headers only (or one still empty) has no objects
    endif()
    add_library(zorlan_area_${area} OBJECT ${sources})
    get_target_property(kind ${library} TYPE)
    if(kind STREQUAL "SHARED_LIBRARY")
      set_target_properties(zorlan_area_${area} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    endif()
    target_link_libraries(zorlan_area_${area} PUBLIC zorlan_area_common)
    foreach(used ${ZORLAN_AREA_USES_${area}})
      if(NOT TARGET zorlan_area_${used})
        message(FATAL_ERROR "Area ${area} uses ${used}, which is not below it in ZORLAN_AREAS")
      endif()
      target_link_libraries(zorlan_area_${area} PUBLIC zorlan_area_${used})
    endforeach()
    zorlan_warnings(zorlan_area_${area})
    target_sources(${library} PRIVATE $<TARGET_OBJECTS:zorlan_area_${area}>)
  endforeach()
  string(PREPEND rules "set(AREAS \"${ZORLAN_AREAS}\")\n")
  file(WRITE ${PROJECT_BINARY_DIR}/ZorlanAreaRules.cmake "${rules}")
endfunction()
