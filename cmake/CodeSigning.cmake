# Signs what the build makes for the bundle.
#
# Without VELTRA_SIGNING_KEY and VELTRA_SIGNING_CERTS, a development chain is made once in the build
# folder and then reused. Two build folders have two chains, so their programs do not trust each
# other.

set(VELTRA_SIGNING_KEY "" CACHE FILEPATH "Private key to sign with, PEM")
set(VELTRA_SIGNING_CERTS "" CACHE FILEPATH
    "Certificates to sign with, PEM: the signer's, then its issuers up to the anchor")

if(VELTRA_SIGNING_KEY AND VELTRA_SIGNING_CERTS)
    set(veltra_signing_key "${VELTRA_SIGNING_KEY}")
    set(veltra_signing_certs "${VELTRA_SIGNING_CERTS}")
elseif(VELTRA_SIGNING_KEY OR VELTRA_SIGNING_CERTS)
    message(FATAL_ERROR "VELTRA_SIGNING_KEY and VELTRA_SIGNING_CERTS go together")
else()
    find_program(VELTRA_OPENSSL openssl REQUIRED)
    set(veltra_signing_key "${CMAKE_BINARY_DIR}/signing/key.pem")
    set(veltra_signing_certs "${CMAKE_BINARY_DIR}/signing/chain.pem")
    # One is useless without the other.
    add_custom_command(OUTPUT "${veltra_signing_key}" "${veltra_signing_certs}"
        COMMAND "${CMAKE_COMMAND}" -E rm -f "${veltra_signing_key}" "${veltra_signing_certs}"
        COMMAND "${CMAKE_SOURCE_DIR}/tools/make-signing-chain"
                "${veltra_signing_key}" "${veltra_signing_certs}"
        VERBATIM)
endif()
add_custom_target(veltra_signing_chain DEPENDS "${veltra_signing_key}" "${veltra_signing_certs}")

# Signs a program whenever it was linked. If the chain or veltra-codesign changes, the program is
# linked and signed again. Nothing may change the program after that: strip would also remove the
# signature.
function(veltra_sign program)
    add_dependencies(${program} veltra-codesign veltra_signing_chain)
    set_property(TARGET ${program} APPEND PROPERTY
                 LINK_DEPENDS "${veltra_signing_key}" "${veltra_signing_certs}"
                              "$<TARGET_FILE:veltra-codesign>")
    add_custom_command(TARGET ${program} POST_BUILD
        COMMAND veltra-codesign sign --key "${veltra_signing_key}" --certs "${veltra_signing_certs}"
                "$<TARGET_FILE:${program}>"
        VERBATIM)
endfunction()
