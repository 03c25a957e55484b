# install_sbom(PACKAGE COMPONENT MODULE...): what a package is linked with and in which versions, as SPDX 2.3 in JSON
# beside its documents. A module is asked of pkg-config.
set(SBOM_LICENSES glib-2.0 LGPL-2.1-or-later gio-2.0 LGPL-2.1-or-later jsoncpp MIT tinyxml2 Zlib openssl Apache-2.0
    libcurl curl cpp-httplib MIT CLI11 BSD-3-Clause libjwt MPL-2.0)

# Sets ${result} to one of the document's packages.
function(sbom_package result name version license)
    set(${result} "    {
      \"SPDXID\": \"SPDXRef-${name}\",
      \"name\": \"${name}\",
      \"versionInfo\": \"${version}\",
      \"downloadLocation\": \"NOASSERTION\",
      \"filesAnalyzed\": false,
      \"licenseConcluded\": \"${license}\",
      \"licenseDeclared\": \"${license}\",
      \"copyrightText\": \"NOASSERTION\"
    }" PARENT_SCOPE)
endfunction()

function(install_sbom package component)
    sbom_package(packages ${package} ${PROJECT_VERSION} Apache-2.0)
    set(relations "    {
      \"spdxElementId\": \"SPDXRef-DOCUMENT\",
      \"relationshipType\": \"DESCRIBES\",
      \"relatedSpdxElement\": \"SPDXRef-${package}\"
    }")
    foreach(module ${ARGN})
        execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --modversion ${module} OUTPUT_VARIABLE version
            OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
        set(license NOASSERTION)
        list(FIND SBOM_LICENSES ${module} known)
        if(known GREATER_EQUAL 0)
            math(EXPR known "${known} + 1")
            list(GET SBOM_LICENSES ${known} license)
        endif()
        sbom_package(entry ${module} ${version} ${license})
        string(APPEND packages ",\n${entry}")
        string(APPEND relations ",
    {
      \"spdxElementId\": \"SPDXRef-${package}\",
      \"relationshipType\": \"DYNAMIC_LINK\",
      \"relatedSpdxElement\": \"SPDXRef-${module}\"
    }")
    endforeach()
    string(SHA256 identity "${packages}")
    file(CONFIGURE OUTPUT ${component}/${package}.spdx.json @ONLY CONTENT [[{
  "spdxVersion": "SPDX-2.3",
  "dataLicense": "CC0-1.0",
  "SPDXID": "SPDXRef-DOCUMENT",
  "name": "@package@-@PROJECT_VERSION@",
  "documentNamespace": "https://quorlen.example/spdx/@package@-@PROJECT_VERSION@-@identity@",
  "creationInfo": {
    "created": "@INFOSYNC_RELEASE_TIME@",
    "creators": ["Organization: The bt-infosync authors"]
  },
  "packages": [
@packages@
  ],
  "relationships": [
@relations@
  ]
}
]])
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${component}/${package}.spdx.json DESTINATION share/doc/${package}
        COMPONENT ${component})
endfunction()
