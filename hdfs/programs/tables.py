"""Text, Parquet and partitioned tables by Spark: tables.py FOLDER... Each step reads back what it has written, on the file
system where it was written and, where there are two folders, copied to the other."""
import sys

from pyspark.sql import SparkSession
from pyspark.sql.functions import col

spark = SparkSession.builder.appName("tables").getOrCreate()
spark.sparkContext.setLogLevel("ERROR")
jvm = spark.sparkContext._jvm
rows = spark.range(100_000).select(col("id"), (col("id") % 7).alias("day"), (col("id") * 3).cast("string").alias("text"))


def path(name):
    return jvm.org.apache.hadoop.fs.Path(name)


def files(name):
    return path(name).getFileSystem(spark.sparkContext._jsc.hadoopConfiguration())


def check(what, wanted, got):
    if wanted != got:
        sys.exit(f"{what}: {got}, not {wanted}")


def tables(folder):
    rows.select("text").write.text(f"{folder}/text")
    check("lines", 100_000, spark.read.text(f"{folder}/text").distinct().count())
    rows.write.parquet(f"{folder}/parquet")
    check("Parquet", rows.selectExpr("sum(id)", "sum(hash(*))").collect(),
          spark.read.parquet(f"{folder}/parquet").selectExpr("sum(id)", "sum(hash(*))").collect())
    check("_SUCCESS", True, files(folder).exists(path(f"{folder}/parquet/_SUCCESS")))

    days = f"{folder}/days"
    rows.write.partitionBy("day").parquet(days)
    check("partitions", 7, sum(1 for each in files(days).listStatus(path(days)) if each.getPath().getName().startswith("day=")))
    check("one partition", 14286, spark.read.parquet(days).where("day = 3").count())
    rows.where("day = 3").limit(14).write.partitionBy("day").mode("append").parquet(days)
    check("appended", 100_014, spark.read.parquet(days).count())
    rows.where("day = 3").limit(5).write.partitionBy("day").mode("overwrite").option("partitionOverwriteMode", "dynamic").parquet(days)
    check("one partition overwritten", 100_000 - 14286 + 5, spark.read.parquet(days).count())
    rows.limit(10).write.mode("overwrite").parquet(days)
    check("overwritten", 10, spark.read.parquet(days).count())
    try:
        rows.write.parquet(days)
        sys.exit("a table that is there was written over")
    except Exception as e:
        check("a table that is there", True, "already exists" in str(e))

    spark.sql(f"CREATE TABLE t USING parquet PARTITIONED BY (day) LOCATION '{folder}/table' AS SELECT * FROM range(1000) JOIN (SELECT 1 AS day)")
    spark.sql("INSERT INTO t VALUES (5000, 2)")
    check("a table", 1001, spark.table("t").count())
    spark.sql("DROP TABLE t")
    print(f"Spark {spark.version} with Hadoop {jvm.org.apache.hadoop.util.VersionInfo.getVersion()} on {folder.split(':')[0]}://:"
          " text, Parquet, partitioned tables")


folders = sys.argv[1:]
for folder in folders:
    tables(folder)
for one, other in zip(folders, reversed(folders)):
    spark.read.parquet(f"{one}/parquet").write.parquet(f"{other}/copied")
    check("copied", 100_000, spark.read.parquet(f"{other}/copied").distinct().count())
spark.stop()
