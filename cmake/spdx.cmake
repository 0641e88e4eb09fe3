# velajpeg.spdx.json, SPDX 2.3: what is installed, under which licence, and what of others' is built into it.
# No time of building is in it, but the day of the release, so that the same sources give the same file.
set(entries "")
set(relations "")

# NAME VERSION LICENCE COPYRIGHT RELATION OTHER: a package, and what it is to another one.
function(velajpeg_spdx name version licence copyright relation other)
    string(CONFIGURE [[{
    "SPDXID": "SPDXRef-@name@",
    "name": "@name@",
    "versionInfo": "@version@",
    "downloadLocation": "NOASSERTION",
    "filesAnalyzed": false,
    "licenseConcluded": "@licence@",
    "licenseDeclared": "@licence@",
    "copyrightText": "@copyright@"
  }]] entry @ONLY)
    list(APPEND entries "${entry}")
    set(entries "${entries}" PARENT_SCOPE)
    list(APPEND relations
        "{\"spdxElementId\": \"SPDXRef-${other}\", \"relationshipType\": \"${relation}\", \"relatedSpdxElement\": \"SPDXRef-${name}\"}")
    set(relations "${relations}" PARENT_SCOPE)
endfunction()

set(ours "${PROJECT_VERSION}" BSD-2-Clause "2026 The Vela JPEG authors")
velajpeg_spdx(libvelajpeg ${ours} DESCRIBES DOCUMENT)
if(VELA_BUILD_EASY)
    velajpeg_spdx(libvelajpeg-easy ${ours} DESCRIBES DOCUMENT)
    list(APPEND relations
        "{\"spdxElementId\": \"SPDXRef-libvelajpeg-easy\", \"relationshipType\": \"DEPENDS_ON\", \"relatedSpdxElement\": \"SPDXRef-libvelajpeg\"}")
endif()
if(VELA_BUILD_COMMAND)
    velajpeg_spdx(velajpeg ${ours} DESCRIBES DOCUMENT)
    foreach(variable IN ITEMS CLI11_VERSION nlohmann_json_VERSION PNG_VERSION_STRING)
        get_directory_property(${variable} DIRECTORY cli DEFINITION ${variable})
    endforeach()
    velajpeg_spdx(CLI11 "${CLI11_VERSION}" BSD-3-Clause NOASSERTION CONTAINS velajpeg)
    velajpeg_spdx(nlohmann-json "${nlohmann_json_VERSION}" MIT NOASSERTION CONTAINS velajpeg)
    velajpeg_spdx(libpng "${PNG_VERSION_STRING}" libpng-2.0 NOASSERTION DEPENDS_ON velajpeg)
endif()
if(VELA_BUILD_PYTHON)
    velajpeg_spdx(python3-velajpeg ${ours} DESCRIBES DOCUMENT)
    get_directory_property(pybind11_VERSION DIRECTORY python DEFINITION pybind11_VERSION)
    velajpeg_spdx(pybind11 "${pybind11_VERSION}" BSD-3-Clause NOASSERTION CONTAINS python3-velajpeg)
endif()
if(VELA_BUILD_GSTREAMER)
    velajpeg_spdx(gstreamer1.0-velajpeg ${ours} DESCRIBES DOCUMENT)
endif()

list(JOIN entries ", " entries)
list(JOIN relations ",\n    " relations)
file(CONFIGURE OUTPUT velajpeg.spdx.json @ONLY CONTENT [[{
  "spdxVersion": "SPDX-2.3",
  "dataLicense": "CC0-1.0",
  "SPDXID": "SPDXRef-DOCUMENT",
  "name": "velajpeg-@PROJECT_VERSION@",
  "documentNamespace": "urn:velajpeg:spdx:@PROJECT_VERSION@",
  "creationInfo": {"created": "2026-11-23T00:00:00Z", "creators": ["Organization: The Vela JPEG authors"]},
  "packages": [@entries@],
  "relationships": [
    @relations@
  ]
}
]])
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/velajpeg.spdx.json DESTINATION ${CMAKE_INSTALL_DOCDIR})
