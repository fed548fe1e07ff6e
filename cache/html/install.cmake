# Fetches the locked packages into ROOM. Variables: NPM, ROOM, WEB (where the lock file is).
file(MAKE_DIRECTORY "${ROOM}")
file(COPY "${WEB}/package.json" "${WEB}/package-lock.json" "${WEB}/.npmrc" DESTINATION "${ROOM}")
execute_process(
    COMMAND "${NPM}" ci --no-audit --no-fund --ignore-scripts --prefer-offline --loglevel=error
    WORKING_DIRECTORY "${ROOM}"
    RESULT_VARIABLE status
    OUTPUT_VARIABLE said
    ERROR_VARIABLE said)
if(NOT status EQUAL 0)
    message("${said}")
    message(
        FATAL_ERROR
            "npm could not fetch three.js and esbuild, which the HTML viewer is made of (see above). "
            "Is the network there? Without it, configure with -DVX_HTML_VIEWER=OFF: vx_cache is then "
            "built without 'view --html'.")
endif()
file(TOUCH "${ROOM}/installed")
