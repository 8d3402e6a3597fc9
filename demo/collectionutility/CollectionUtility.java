import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import java.util.zip.ZipEntry;
import java.util.zip.ZipOutputStream;

/**
 * A stand-in for the platform's log-collection utility, for the demo: packs the log file of an operation and the
 * platform's own logs into deploy/installHistory, in the folder that the jar lies in.
 */
public final class CollectionUtility {
    private CollectionUtility() {}

    public static void main(String[] arguments) throws Exception {
        noteChild();
        Map<String, String> options = new HashMap<>();
        for (int i = 0; i + 1 < arguments.length; i += 2) {
            options.put(arguments[i], arguments[i + 1]);
        }

        List<Path> logs = new ArrayList<>();
        logs.add(Paths.get(options.get("-logLocation")));
        Path platformLogs = Paths.get(options.get("-workspace"), ".metadata");
        if (Files.isDirectory(platformLogs)) {
            try (Stream<Path> files = Files.list(platformLogs)) {
                files.filter(file -> file.toString().endsWith(".log")).sorted().forEach(logs::add);
            }
        }

        Path jar = Paths.get(CollectionUtility.class.getProtectionDomain().getCodeSource().getLocation().toURI());
        Path history = Files.createDirectories(jar.resolveSibling("deploy").resolve("installHistory"));
        String name = options.get("-productName") + "_" + options.get("-action") + ".zip";
        try (ZipOutputStream zip = new ZipOutputStream(Files.newOutputStream(history.resolve(name)))) {
            for (Path log : logs) {
                zip.putNextEntry(new ZipEntry(log.getFileName().toString()));
                Files.copy(log, zip);
            }
        }
    }

    /** Adds the whole command line, as a shell would take it, to the record of the children, if there is one. */
    private static void noteChild() throws IOException {
        String record = System.getenv("DEMO_CHILDREN");
        if (record == null) {
            return;
        }
        byte[] commandLine = Files.readAllBytes(Paths.get("/proc/self/cmdline"));
        String line = Arrays.stream(new String(commandLine, StandardCharsets.UTF_8).split("\0"))
                .map(word -> word.matches("[A-Za-z0-9+./:=@_-]+") ? word : "'" + word.replace("'", "'\\''") + "'")
                .collect(Collectors.joining(" "));
        Files.write(Paths.get(record), (line + "\n").getBytes(StandardCharsets.UTF_8),
                StandardOpenOption.CREATE, StandardOpenOption.APPEND);
    }
}
