import java.io.BufferedInputStream;
import java.io.BufferedOutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Properties;

/** Loads a properties file and saves it, some times over; prints the best milliseconds of each. */
public class PropertiesPeer {
  public static void main(String[] arguments) throws Exception {
    double bestLoad = Double.MAX_VALUE;
    double bestSave = Double.MAX_VALUE;
    for (int round = Integer.parseInt(arguments[2]); round > 0; --round) {
      long begin = System.nanoTime();
      Properties properties = new Properties();
      try (var input = new BufferedInputStream(Files.newInputStream(Path.of(arguments[0])))) {
        properties.load(input);
      }
      bestLoad = Math.min(bestLoad, (System.nanoTime() - begin) / 1e6);
      begin = System.nanoTime();
      try (var output = new BufferedOutputStream(Files.newOutputStream(Path.of(arguments[1])))) {
        properties.store(output, null);
      }
      bestSave = Math.min(bestSave, (System.nanoTime() - begin) / 1e6);
    }
    System.out.printf("%.2f %.2f%n", bestLoad, bestSave);
  }
}
